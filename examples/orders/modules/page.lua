-- What every page of the application shares: the frame, texts from templates, links, numbers and dates.
local demo = require "demo"

local page = {}

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

--- `path?name=value&...` with the pairs in order, empty values left out, safe to put into an attribute.
function page.url(path, pairs_list) return zu.html_escape(zu.address(path, pairs_list)) end

--- The text of a part that holds nothing but a language key.
function page.text(template, name) return template.Part[name]:BuildTemplate() end

page.string, page.money = zu.text, zu.money

--- "2026-03-05" as "05.03.2026" in Russian, as it is in English.
function page.date(iso) return request.Language == "en" and iso or zu.date(iso) end

--- "2026-03-05 09:41:00" with the date as page.date has it and without seconds.
function page.moment(text) return page.date(text:sub(1, 10)) .. text:sub(11, 16) end

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

--- Writes the page: the frame around `content`, which is HTML.
function page.write(title, content) zu.write(content, zu.html_escape(title)) end

return page
