-- Taking records of Orders from the record blocker, and the page that tells why one cannot be had.
local page = require "page"

local record = {}

--- What the blocker says about its last refusal: code, message, who has the record and since when.
function record.why()
  local why = RecordBlocker:LastError()
  return { code = why.LastErrorCode, message = why.LastErrorMessage, user = why.UserName, since = why.CreateTime }
end

--- Whether this session has the block for editing or inserting; others may not even look into it.
function record.holds(block_id)
  local state = RecordBlocker:CheckRecordAccess(block_id)
  return state >= 1 and state <= 3
end

--- The block of an order for "edit" or "delete", or nil and why. One that this session has already is given back first:
--- the new one has another ID, so that a page which says good-bye late, or an older tab, does not meet this one.
function record.take(id, action)
  local state = RecordBlocker:CheckRecordAccess("Orders", id)
  if state == 1 or state == 2 then
    local old
    if state == 1 then old = RecordBlocker:GetLockRecord("Orders", id) end
    if state == 2 then old = RecordBlocker:DeleteRecord("Orders", id) end
    if old then RecordBlocker:RollBackRecord(old.ID) end
  end
  local block
  if action == "delete" then
    block = RecordBlocker:DeleteRecord("Orders", id)
  else
    block = RecordBlocker:GetLockRecord("Orders", id)
  end
  if block then return block end
  return nil, record.why()
end

-- The blocker speaks Russian; other languages have translations by code.
function record.message(why)
  local known = { [101] = true, [201] = true, [202] = true, [211] = true, [212] = true, [220] = true, [302] = true,
    [402] = true }
  if request.Language == "ru" or not known[why.code] then return why.message end
  return page.string("lock." .. why.code)
end

local statuses = { [302] = 404, [402] = 403 }

--- Whether waiting may help.
function record.busy(why)
  return why.code == 101 or why.code == 201 or why.code == 202
end

--- The page for a record that cannot be had. `again` is where to try again; with `hidden`, the fields of a form that
--- keep what the user typed, it is sent there.
function record.refuse(why, id, again, hidden)
  local view = zu.create("TTemplate")
  view.Name = "refused.html"
  local message = record.message(why)
  response.Status = statuses[why.code] or 409
  view.Tag["MESSAGE"] = zu.html_escape(message)
  if record.busy(why) then
    local busy = view.Part["BUSY"]
    busy.Tag["USER"] = zu.html_escape(why.user)
    if why.user == session.user then busy.Tag["SELF"] = busy.Part["SELF"]:BuildTemplate() end
    busy.Tag["SINCE"] = page.moment(why.since)
    busy.Tag["ID"] = zu.html_escape(id)
    busy.Tag["ACTION"] = again
    busy.Tag["METHOD"] = hidden and "post" or "get"
    busy.Tag["HIDDEN"] = hidden or ""
    if hidden then busy.Tag["KEPT"] = busy.Part["KEPT"]:BuildTemplate() end
    view.Tag["BUSY"] = busy:BuildTemplate()
  else
    local help = why.code == 402 and "HELP402" or why.code == 302 and "HELP302" or nil
    if help then view.Tag["HELP"] = view.Part[help]:BuildTemplate() end
  end
  if id ~= "" and why.code ~= 302 then
    local back = view.Part["BACK"]
    back.Tag["ID"] = zu.html_escape(id)
    view.Tag["BACK"] = back:BuildTemplate()
  end
  page.write(message, view:BuildTemplate(), "/order", { { "id", id } })
end

--- Seconds between two calls of an open page that keep its session alive.
function record.beat()
  return math.max(1, math.min(60, session.idle_seconds // 4))
end

return record
