-- One order with its lines.
local page = require "page"
local record = require "record"

local suffix = request.Language == "en" and "En" or "Ru"
local id = page.number("id", 0, 0, math.maxinteger)

if not page.may_view(id) then
  return record.refuse({ code = 402, message = zu.text("lock.402") }, "", "/orders")
end

local order = db.select("SELECT o.ID, " .. page.order_number .. " AS Number, o.OrderDate, o.Customer" .. suffix ..
  " AS Customer, o.City" .. suffix .. " AS City, o.Status, o.Total, o.Note, d.NumberText, d.DocumentDate, d.CreatedBy FROM " ..
  "Orders o" .. page.order_document .. " WHERE o.ID = :ID", { ID = id })[1]
if not order then
  response.Status = 404
  return zu.page("order.html", { MISSING = true })
end

local lines = {}
for index, line in ipairs(db.select("SELECT Product" .. suffix .. " AS Product, Quantity, Price FROM OrderLines " ..
    "WHERE OrderID = :ID ORDER BY LineNumber", { ID = id })) do
  lines[index] = { PRODUCT = line.Product, QUANTITY = line.Quantity, PRICE = page.money(line.Price),
    SUM = page.money(line.Price * line.Quantity) }
end
local price, days = Delivery:Price(order.Total, order.City), Delivery:Days(order.City)
local done = page.param("done")
local holder = zu.blocks.holder("Orders", string.format("%d", id))
zu.page("order.html", {
  TITLE = { NUMBER = order.Number },
  DONE = (done == "saved" or done == "inserted") and { TEXT = zu.text("edit.done." .. done) },
  HELD = holder and { USER = holder.user, SINCE = page.moment(holder.since) } or false,
  ORDER = {
    ID = id, NUMBER = order.Number, DATE = page.date(order.OrderDate), CUSTOMER = order.Customer, CITY = order.City,
    DELIVERY = (price == 0 and zu.text("order.delivery.free") or page.money(price) .. " ₽") .. ", " .. days .. " " ..
      zu.text("order.delivery.days"),
    STATUS = order.Status, STATUSTEXT = zu.text("status." .. order.Status), LINE = lines, TOTAL = page.money(order.Total),
    NOTE = order.Note ~= "" and { TEXT = order.Note },
    DOCUMENT = order.NumberText and
      { NUMBER = order.NumberText, DATE = page.date(order.DocumentDate), USER = order.CreatedBy } or false,
    ACTIONS = session.user ~= "" and { ID = id },
    SIGNIN = session.user == "" and { URL = zu.address("/signin", { back = "/order?id=" .. id }) },
  },
})
