-- Takes an order for deletion and asks; the answer deletes it.
local page = require "page"
local record = require "record"

local id, block_id = page.param("id"), page.param("block")

if request.Method == "POST" then
  if page.param("action") ~= "delete" then
    RecordBlocker:RollBackRecord(block_id)
    return response:Redirect("/order?id=" .. zu.url_escape(id))
  end
  if RecordBlocker:CheckRecordAccess(block_id) == 2 and RecordBlocker:CommitRecord(block_id) then
    return response:Redirect("/orders?done=deleted")
  end
  local why = RecordBlocker:LastError() and record.why() or { code = 220, message = page.string("lock.220") }
  if why.code == 303 then RecordBlocker:RollBackRecord(block_id) end
  return record.refuse(why, id, "/order/delete")
end

local block, why = record.take(id, "delete")
if not block then return record.refuse(why, id, "/order/delete") end

local suffix = request.Language == "en" and "En" or "Ru"
local order = db.select("SELECT " .. page.order_number .. " AS Number, o.OrderDate, o.Customer" .. suffix ..
  " AS Customer FROM Orders o" .. page.order_document .. " WHERE o.ID = :ID", { ID = page.integer(id) })[1]
local view = zu.create("TTemplate")
view.Name = "order_delete.html"
view.Tag["NUMBER"] = zu.html_escape(order.Number)
view.Tag["DATE"] = page.date(order.OrderDate)
view.Tag["CUSTOMER"] = zu.html_escape(order.Customer)
view.Tag["TOKEN"] = request.FormToken
view.Tag["ID"] = zu.html_escape(id)
view.Tag["BLOCK"] = block.ID
view.Tag["SECONDS"] = record.beat()
page.write(page.string("delete.title") .. " " .. order.Number, view:BuildTemplate(), "/order", { { "id", id } })
