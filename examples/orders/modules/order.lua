-- One order with its lines.
local page = require "page"
local record = require "record"

local suffix = request.Language == "en" and "En" or "Ru"
local id = page.number("id", 0, 0, math.maxinteger)

if not page.may_view(id) then
  return record.refuse({ code = 402, message = page.string("lock.402") }, "", "/orders")
end

local view = zu.create("TTemplate")
view.Name = "order.html"

local order = db.select("SELECT o.ID, " .. page.order_number .. " AS Number, o.OrderDate, o.Customer" .. suffix ..
  " AS Customer, o.City" .. suffix .. " AS City, o.Status, o.Total, o.Note, d.NumberText, d.DocumentDate, d.CreatedBy FROM " ..
  "Orders o" .. page.order_document .. " WHERE o.ID = :ID", { ID = id })[1]
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
  part.Tag["ID"] = id
  part.Tag["NUMBER"] = zu.html_escape(order.Number)
  part.Tag["DATE"] = page.date(order.OrderDate)
  part.Tag["CUSTOMER"] = zu.html_escape(order.Customer)
  part.Tag["CITY"] = zu.html_escape(order.City)
  local price, days = Delivery:Price(order.Total, order.City), Delivery:Days(order.City)
  part.Tag["DELIVERY"] = (price == 0 and page.text(view, "FREE") or page.money(price) .. " ₽") ..
    ", " .. days .. " " .. page.text(view, "DAYS")
  part.Tag["STATUS"] = order.Status
  part.Tag["STATUSTEXT"] = page.text(view, "STATUS_" .. order.Status:upper())
  if order.Note ~= "" then
    local note = part.Part["NOTE"]
    note.Tag["TEXT"] = zu.html_escape(order.Note)
    part.Tag["NOTE"] = note:BuildTemplate()
  end
  if order.NumberText then
    local document = part.Part["DOCUMENT"]
    document.Tag["NUMBER"] = zu.html_escape(order.NumberText)
    document.Tag["DATE"] = page.date(order.DocumentDate)
    document.Tag["USER"] = zu.html_escape(order.CreatedBy)
    part.Tag["DOCUMENT"] = document:BuildTemplate()
  end
  local done = page.param("done")
  if done == "saved" or done == "inserted" then
    local notice = view.Part["DONE"]
    notice.Tag["TEXT"] = page.string("edit.done." .. done)
    view.Tag["DONE"] = notice:BuildTemplate()
  end
  local holder = zu.blocks.holder("Orders", string.format("%d", id))
  if holder then
    local held = view.Part["HELD"]
    held.Tag["USER"] = zu.html_escape(holder.user)
    held.Tag["SINCE"] = page.moment(holder.since)
    view.Tag["HELD"] = held:BuildTemplate()
  end
  local actions = part.Part[session.user == "" and "SIGNIN" or "ACTIONS"]
  actions.Tag["ID"] = id
  actions.Tag["URL"] = page.url("/signin", { { "back", "/order?id=" .. id } })
  part.Tag["ACTIONS"] = actions:BuildTemplate()
  part.Tag["TOTAL"] = page.money(order.Total)
  view.Tag["ORDER"] = part:BuildTemplate()
end

page.write(title, view:BuildTemplate(), "/order", { { "id", id } })
