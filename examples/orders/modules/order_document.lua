-- An order as a document, which a helper process makes; a polite page when it is away or late.
local page = require "page"

local id = page.number("id", 0, 0, math.maxinteger)
local view = zu.create("TTemplate")
view.Name = "order_document.html"

local function polite(status, name)
  response.Status = status
  local title = page.text(view, name)
  local part = view.Part["PAGE"]
  part.Tag["MESSAGE"] = title
  part.Tag["ID"] = id
  part.Tag["HINT"] = status == 404 and "" or page.text(view, "HINT")
  part.Tag["AGAIN"] = page.url("/order/document", { { "id", id } })
  page.write(title, part:BuildTemplate(), "/order/document", { { "id", id } })
end

-- One line a fact; what was typed cannot make another one.
local request_lines = {}
local function say(...)
  local cells = { ... }
  for index, cell in ipairs(cells) do cells[index] = tostring(cell):gsub("[%c]+", " ") end
  request_lines[#request_lines + 1] = table.concat(cells, "\t")
end

if not page.may_view(id) then return polite(404, "MISSING") end
local suffix = request.Language == "en" and "En" or "Ru"
local order = db.select("SELECT o.ID, " .. page.order_number .. " AS Number, o.OrderDate, o.Customer" .. suffix ..
  " AS Customer, o.City" .. suffix .. " AS City, o.Total FROM Orders o" .. page.order_document .. " WHERE o.ID = :ID",
  { ID = id })[1]
if not order then return polite(404, "MISSING") end

say("language", request.Language)
say("title", page.text(view, "TITLE") .. " " .. order.Number)
say("fact", page.text(view, "DATE"), page.date(order.OrderDate))
say("fact", page.text(view, "CUSTOMER"), order.Customer)
say("fact", page.text(view, "CITY"), order.City)
say("head", page.text(view, "PRODUCT"), page.text(view, "QUANTITY"), page.text(view, "PRICE"), page.text(view, "SUM"))
for _, line in ipairs(db.select("SELECT Product" .. suffix .. " AS Product, Quantity, Price FROM OrderLines " ..
    "WHERE OrderID = :ID ORDER BY LineNumber", { ID = id })) do
  say("line", line.Product, line.Quantity, page.money(line.Price), page.money(line.Price * line.Quantity))
end
say("total", page.text(view, "TOTAL"), page.money(order.Total))

local client = zu.pipe_client{ name = "orders-document", timeout = 1000, answer_timeout = 3000, buffer = 65536 }
local good, answer = pcall(client.request, client, table.concat(request_lines, "\n"))
client:close()
if not good then
  print("order " .. id .. " was not printed: " .. answer) -- for the log
  return polite(503, answer:find("imeout", 1, true) and "LATE" or "AWAY")
end
response.ContentType = "text/html; charset=utf-8"
response:Write(answer)
