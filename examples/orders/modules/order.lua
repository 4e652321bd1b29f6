-- One order with its lines.
local page = require "page"

local suffix = request.Language == "en" and "En" or "Ru"
local id = page.number("id", 0, 0, math.maxinteger)

local view = zu.create("TTemplate")
view.Name = "order.html"

local order = db.select("SELECT ID, Number, OrderDate, Customer" .. suffix .. " AS Customer, City" .. suffix ..
  " AS City, Status, Total FROM Orders WHERE ID = :ID", { ID = id })[1]
local title = page.text(view, "TITLE")

if not order then
  response.Status = 404
  view.Tag["ORDER"] = view.Part["MISSING"]:BuildTemplate()
else
  title = title .. " " .. order.Number
  local part = view.Part["ORDER"]
  local line_part, lines = part.Part["LINE"], {}
  for _, line in ipairs(db.select("SELECT Product" .. suffix .. " AS Product, Quantity, Price FROM OrderLines " ..
      "WHERE OrderID = :ID ORDER BY LineNumber", { ID = id })) do
    line_part.Tag["PRODUCT"] = zu.html_escape(line.Product)
    line_part.Tag["QUANTITY"] = line.Quantity
    line_part.Tag["PRICE"] = page.money(line.Price)
    line_part.Tag["SUM"] = page.money(line.Price * line.Quantity)
    lines[#lines + 1] = line_part:BuildTemplate()
  end
  part.Tag["LINES"] = table.concat(lines)
  part.Tag["BACK"] = "/orders"
  part.Tag["NUMBER"] = zu.html_escape(order.Number)
  part.Tag["DATE"] = page.date(order.OrderDate)
  part.Tag["CUSTOMER"] = zu.html_escape(order.Customer)
  part.Tag["CITY"] = zu.html_escape(order.City)
  part.Tag["STATUS"] = order.Status
  part.Tag["STATUSTEXT"] = page.text(view, "STATUS_" .. order.Status:upper())
  part.Tag["TOTAL"] = page.money(order.Total)
  view.Tag["ORDER"] = part:BuildTemplate()
end

page.write(title, view:BuildTemplate(), "/order", { { "id", id } })
