-- Takes an order for editing, or begins a new one, and shows its form.
local form = require "order_form"
local page = require "page"
local record = require "record"

local id = page.param("id")
local block, why
if id == "" then
  block = RecordBlocker:GetLockRecord("Orders", "")
  if not block then why = record.why() end
else
  block, why = record.take(id, "edit")
end
if not block then return record.refuse(why, id, "/order/edit") end
form.show(form.of(block, id), {})
