-- The helper process of the order list: makes a document of an order, in a process of its own so that a page never has
-- to wait for it longer than it wants. `zuhost serve` starts it (orders.toml, [[helper]]); by hand it is
--     zuhost pipe-serve orders-document --script helper.lua
--
-- A request has a line "key<TAB>value" for each fact and "line<TAB>..." for each item, the cells parted by tabs; the
-- answer is a document in Rich Text Format, which every word processor opens.

local function rtf(text)
  local result = {}
  for _, code in utf8.codes(text) do
    if code == 92 or code == 123 or code == 125 then
      result[#result + 1] = "\\" .. string.char(code)
    elseif code >= 32 and code < 127 then
      result[#result + 1] = string.char(code)
    elseif code > 0xFFFF then
      code = code - 0x10000
      result[#result + 1] = string.format("\\u%d?\\u%d?", 0xD800 + (code >> 10) - 65536, 0xDC00 + (code & 0x3FF) - 65536)
    else
      result[#result + 1] = string.format("\\u%d?", code > 32767 and code - 65536 or code)
    end
  end
  return table.concat(result)
end

local function row(cells, bold)
  local widths, result = { 4800, 6200, 7700, 9400 }, { "\\trowd\\trgaph80" }
  for index in ipairs(cells) do result[#result + 1] = "\\clbrdrb\\brdrs\\cellx" .. widths[index] end
  for index, cell in ipairs(cells) do
    result[#result + 1] = "\\pard\\intbl" .. (index > 1 and "\\qr " or "\\ql ") .. (bold and "\\b " or "") .. rtf(cell) ..
      (bold and "\\b0" or "") .. "\\cell"
  end
  return table.concat(result) .. "\\row\n"
end

return function(request)
  local out = { "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 DejaVu Sans;}}\\fs22\n" }
  for text in request:gmatch("[^\n]+") do
    local cells = {}
    for cell in (text .. "\t"):gmatch("([^\t]*)\t") do cells[#cells + 1] = cell end
    local kind = table.remove(cells, 1)
    if kind == "title" then
      out[#out + 1] = "{\\fs36\\b " .. rtf(cells[1]) .. "}\\par\\par\n"
    elseif kind == "fact" then
      out[#out + 1] = "{\\b " .. rtf(cells[1]) .. ":} " .. rtf(cells[2]) .. "\\par\n"
    elseif kind == "head" then
      out[#out + 1] = "\\par\n" .. row(cells, true)
    elseif kind == "line" then
      out[#out + 1] = row(cells, false)
    elseif kind == "total" then
      out[#out + 1] = row({ cells[1], "", "", cells[2] }, true)
    end
  end
  out[#out + 1] = "}\n"
  return table.concat(out)
end
