-- What becomes of the form of an order: saved, cancelled, or taken again for values that were typed already.
--
-- The route does not check the form token, since its answer would drop what was typed: nothing is written or given back
-- here before the token was looked at.
local form = require "order_form"
local page = require "page"
local record = require "record"

if request.Method ~= "POST" then return response:Redirect("/orders") end

local kept = form.read()
if session.user == "" then return form.signed_out(kept) end
if not request.FormTokenGood then
  return form.show(kept, { lost = "block", banner = page.string("lost.session"), status = 403 })
end

local action = page.param("action")
if action == "cancel" then
  RecordBlocker:RollBackRecord(kept.block)
  return response:Redirect(kept.id == "" and "/orders" or "/order?id=" .. zu.url_escape(kept.id))
end
if action == "insert" then -- what was typed for an order that somebody deleted
  kept.id = ""
  return form.retake(kept)
end
if action == "retake" then return form.retake(kept) end

local block = record.holds(kept.block) and RecordBlocker:GetLockRecord(kept.block)
if not block or block.TableName ~= "Orders" or block.RecordID ~= kept.id then
  return form.show(kept, { lost = "block", banner = page.string("lost.block"), status = 409 })
end
local faults = form.faults(kept.values, block)
if faults then return form.show(kept, { faults = faults, status = 422 }) end
form.fill(block, kept)

-- New orders get a document, whose number is theirs; what has one is journalled.
local as_document = kept.id == "" or #db.select(
  "SELECT ID FROM ZuDocuments WHERE TableName = 'Orders' AND RecordID = :ID", { ID = kept.id }) > 0
local done
if as_document then
  done = RecordBlocker:CommitDocInTable(kept.block)
else
  done = RecordBlocker:CommitRecord(kept.block)
end
if done then
  local key = RecordBlocker:LastObjectParams().RecordID
  return response:Redirect("/order?id=" .. zu.url_escape(key) .. "&done=" .. (kept.id == "" and "inserted" or "saved"))
end

local why = record.why()
if why.code == 402 or why.code == 220 then -- the block is gone
  return form.show(kept, { lost = "block", banner = record.message(why), status = why.code == 402 and 403 or 409 })
end
if why.code == 303 then -- changed underneath, or not accepted by the database: begin anew with the record as it is now
  RecordBlocker:RollBackRecord(kept.block)
  return form.retake(kept, record.message(why))
end
form.show(kept, { banner = record.message(why), status = 409 })
