-- Reads pages, a line of hexadecimal digits each, and prints what each of their forms sends: for a page the number
-- of its forms, for a form the number of its entries and then two lines for each entry, name and value.
local function from_hex(text) return (text:gsub("%x%x", function(pair) return string.char(tonumber(pair, 16)) end)) end
local function to_hex(text) return (text:gsub(".", function(char) return ("%02x"):format(char:byte()) end)) end

for line in io.lines(arg[1]) do
  local document = zu.html(from_hex(line))
  local forms = zu.automation.get(zu.automation.get(document, "forms"), "length")
  print(forms)
  for form = 0, forms - 1 do
    local entries = zu.automation.form_entries(document, form)
    print(#entries)
    for _, entry in ipairs(entries) do
      print("n" .. to_hex(entry.name))
      print("v" .. to_hex(entry.value))
    end
  end
end
