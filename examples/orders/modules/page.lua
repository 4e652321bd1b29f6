-- What every page of the application shares: the frame, texts from templates, links, numbers and dates.
local demo = require "demo"

local page = {}

local languages = { { code = "ru", text = "Русский" }, { code = "en", text = "English" } }

-- An order's number, its own or that of its document, in statements with `FROM Orders o` .. page.order_document.
page.order_number = "coalesce(o.Number, d.NumberText, '#' || o.ID)"
page.order_document = " LEFT JOIN ZuDocuments d ON d.TableName = 'Orders' AND d.RecordID = CAST(o.ID AS TEXT)"

--- Whether who asks may see an order.
function page.may_view(id)
  if session.user == "" then return demo.visitors end
  return session.may("view", "Orders", id)
end

--- The value of a request parameter, "" when absent.
function page.param(name)
  return request.Params.Value[name]
end

--- Ends the page with 400 unless the request is one that a page of the application could have sent.
function page.expect(good, name)
  if not good then response:Refuse(400, name) end
end

--- `path?name=value&...` with the pairs in order, empty values left out.
function page.address(path, pairs_list)
  local parts = {}
  for _, pair in ipairs(pairs_list) do
    local value = tostring(pair[2] or "")
    if value ~= "" then parts[#parts + 1] = pair[1] .. "=" .. zu.url_escape(value) end
  end
  if #parts > 0 then path = path .. "?" .. table.concat(parts, "&") end
  return path
end

--- The same, safe to put into an attribute.
function page.url(path, pairs_list)
  return zu.html_escape(page.address(path, pairs_list))
end

--- The text of a part that holds nothing but a language key.
function page.text(template, name)
  return template.Part[name]:BuildTemplate()
end

local texts

--- The text of a language key that texts.html lists.
function page.string(key)
  if not texts then
    texts = zu.create("TTemplate")
    texts.Name = "texts.html"
    texts.RaiseException = true -- a key that is not listed
  end
  return texts.Part[key:upper():gsub("%.", "_")]:BuildTemplate()
end

--- 1234567.5 as "1 234 567,50" in Russian and "1,234,567.50" in English.
function page.money(kopecks)
  local digits = string.format("%d", kopecks // 100)
  local grouped = digits:reverse():gsub("(%d%d%d)", "%1|"):reverse():gsub("^|", "")
  local english = request.Language == "en"
  return (grouped:gsub("|", english and "," or "\u{A0}")) .. (english and "." or ",") ..
    string.format("%02d", kopecks % 100)
end

--- "2026-03-05" as "05.03.2026" in Russian, as it is in English.
function page.date(iso)
  if request.Language == "en" then return iso end
  return (iso:gsub("(%d+)-(%d+)-(%d+)", "%3.%2.%1"))
end

--- "2026-03-05 09:41:00" with the date as page.date has it and without seconds.
function page.moment(text)
  return page.date(text:sub(1, 10)) .. text:sub(11, 16)
end

--- A text as a whole number; nil when it is none.
function page.integer(text)
  return math.tointeger(tonumber(text, 10))
end

--- A whole number from a request parameter within bounds, or the default.
function page.number(name, default, lowest, highest)
  local value = page.integer(page.param(name))
  if not value then return default end
  return math.max(lowest, math.min(highest, value))
end

local function who(frame, path, pairs_list)
  if path == "/signin" then return "" end
  if session.user == "" then
    local part = frame.Part["NOBODY"]
    part.Tag["URL"] = page.url("/signin", { { "back", page.address(path, pairs_list) } })
    return part:BuildTemplate()
  end
  local part = frame.Part["SOMEBODY"]
  part.Tag["USER"] = zu.html_escape(session.user)
  part.Tag["TOKEN"] = request.FormToken
  return part:BuildTemplate()
end

--- Writes the page: the frame around `content`, with links to this very page in the other languages.
function page.write(title, content, path, pairs_list)
  local frame = zu.create("TTemplate")
  frame.Name = "frame.html"
  local link = frame.Part["LANGUAGE"]
  local links = {}
  for _, language in ipairs(languages) do
    link:Clear()
    local with_language = { table.unpack(pairs_list) }
    with_language[#with_language + 1] = { "lang", language.code }
    link.Tag["URL"] = page.url(path, with_language)
    link.Tag["CODE"] = language.code
    link.Tag["TEXT"] = language.text
    if language.code == request.Language then link.Tag["CURRENT"] = ' aria-current="true"' end
    links[#links + 1] = link:BuildTemplate()
  end
  frame.Tag["LANGUAGES"] = table.concat(links, " ")
  frame.Tag["WHO"] = who(frame, path, pairs_list)
  if session.administrator then frame.Tag["ADMIN"] = frame.Part["ADMIN"]:BuildTemplate() end
  frame.Tag["TITLE"] = zu.html_escape(title)
  frame.Tag["CONTENT"] = content
  response:Write(frame:BuildTemplate())
end

return page
