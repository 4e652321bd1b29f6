-- The form of an order: its fields, what the user typed, and the pages that show it. What was typed is never lost: every
-- page of a failed save has the form again, or carries its values along.
local page = require "page"
local record = require "record"
local cities = require "cities"

local form = {}

local fields = {
  { name = "date", column = "OrderDate", required = true, length = 10 },
  { name = "customer_ru", column = "CustomerRu", required = true, length = 100 },
  { name = "customer_en", column = "CustomerEn", required = true, length = 100 },
  { name = "city", column = "CityRu", required = true, length = 60 },
  { name = "status", column = "Status", required = true, length = 20 },
  { name = "note", column = "Note", length = 500 },
}
local statuses = { "new", "paid", "shipped", "closed", "cancelled" }

local function is_one_of(list, text)
  for _, item in ipairs(list) do
    if (type(item) == "table" and item[1] or item) == text then return true end
  end
  return false
end

--- What came with the form: the values, and those that the record had when the user got it (`was`).
function form.read()
  local kept = { id = page.param("id"), block = page.param("block"), values = {}, was = {} }
  for _, field in ipairs(fields) do
    kept.values[field.name] = page.param(field.name):gsub("\r\n?", "\n")
    kept.was[field.name] = page.param("was_" .. field.name):gsub("\r\n?", "\n")
  end
  -- Nobody types these: what comes was filled in by us, or is forged.
  page.expect(kept.id == "" or page.integer(kept.id), "id")
  page.expect(kept.block:find("^%x*$") and #kept.block <= 64, "block")
  page.expect(kept.was.status == "" or is_one_of(statuses, kept.was.status), "was_status")
  return kept
end

--- The values of a record.
function form.values_of(block)
  local values = {}
  for _, field in ipairs(fields) do values[field.name] = tostring(block.RecordInterface[field.column] or "") end
  return values
end

--- The form of a record that was taken just now.
function form.of(block, id)
  local values = form.values_of(block)
  local kept = { id = id, block = block.ID, values = values, was = {} }
  for name, value in pairs(values) do kept.was[name] = value end
  if id == "" then
    values.date = os.date("%Y-%m-%d")
    values.status = "new"
  end
  return kept
end

local function is_date(text)
  local year, month, day = text:match("^(%d%d%d%d)%-(%d%d)%-(%d%d)$")
  if not year then return false end
  local moment = os.date("*t", os.time { year = tonumber(year), month = tonumber(month), day = tonumber(day), hour = 12 })
  return moment.month == tonumber(month) and moment.day == tonumber(day)
end

local function fault(field, value, stored)
  if value == "" then return field.required and "field.required" or nil end
  if (utf8.len(value) or math.huge) > field.length then return "field.long" end
  local passes = value == stored or pcall(function() ParamsChecker:CheckParamValue(field.name, value, true) end)
  if not passes then return "field.refused" end
  if field.name == "date" and not is_date(value) then return "field.date" end
  if field.name == "city" and not is_one_of(cities, value) then return "field.choice" end
  if field.name == "status" and not is_one_of(statuses, value) then return "field.choice" end
end

--- Language keys by field of what is wrong with the values; nil when nothing is. A value that the record has already
--- need not pass the value filter.
function form.faults(values, block)
  local faults
  local stored = form.values_of(block)
  for _, field in ipairs(fields) do
    local found = fault(field, values[field.name], stored[field.name])
    if found then
      faults = faults or {}
      faults[field.name] = found
    end
  end
  return faults
end

--- Puts the values into the block's record, with what follows from them.
function form.fill(block, kept)
  local interface, values = block.RecordInterface, kept.values
  for _, field in ipairs(fields) do interface[field.column] = values[field.name] end
  for _, city in ipairs(cities) do
    if city[1] == values.city then interface.CityEn = city[2] end
  end
  local words = { interface.Number or "", values.customer_ru, values.customer_en, interface.CityRu, interface.CityEn }
  if kept.id ~= "" then
    for _, line in ipairs(db.select("SELECT ProductRu, ProductEn FROM OrderLines WHERE OrderID = :ID ORDER BY LineNumber",
        { ID = page.integer(kept.id) })) do
      words[#words + 1], words[#words + 2] = line.ProductRu, line.ProductEn
    end
  else
    interface.Total = 0
  end
  interface.SearchText = zu.lower(table.concat(words, "\n"))
end

local function hidden_fields(kept, with_values)
  local out = {}
  local function add(name, value)
    out[#out + 1] = '<input type="hidden" name="' .. name .. '" value="' .. zu.html_escape(value) .. '">'
  end
  add("form_token", request.FormToken)
  add("block", kept.block)
  for _, field in ipairs(fields) do
    add("was_" .. field.name, kept.was[field.name])
    if with_values then add(field.name, kept.values[field.name]) end
  end
  return table.concat(out)
end

local function options(part, list, chosen, text_of)
  local out = {}
  for _, item in ipairs(list) do
    part:Clear()
    local value, text = text_of(item)
    part.Tag["VALUE"] = zu.html_escape(value)
    part.Tag["TEXT"] = zu.html_escape(text)
    if value == chosen then part.Tag["SELECTED"] = " selected" end
    out[#out + 1] = part:BuildTemplate()
  end
  return table.concat(out)
end

local function field_text(name, value)
  if name == "status" and value ~= "" then return page.string("status." .. value) end
  if name == "date" then return page.date(value) end
  if name == "city" and request.Language == "en" then
    for _, city in ipairs(cities) do if city[1] == value then return city[2] end end
  end
  return value
end

--- Shows the form. `says`: `banner` (a text), `faults` (language keys by field), `theirs` (by field, what
--- somebody else stored meanwhile: `now`, and `before`), `lost` ("session", "block" or "deleted": the
--- record must be taken again), `status`.
function form.show(kept, says)
  local view = zu.create("TTemplate")
  view.Name = "order_edit.html"
  local faults, theirs = says.faults or {}, says.theirs or {}
  local marked = false
  for _, field in ipairs(fields) do
    local key, name = field.name:upper(), field.name
    view.Tag[key] = zu.html_escape(kept.values[name])
    local hints, class = {}, nil
    if faults[name] then
      hints[#hints + 1], class = page.string(faults[name]), "wrong"
    end
    if theirs[name] then
      local taken_over = theirs[name].now == kept.values[name]
      hints[#hints + 1] = page.string(taken_over and "edit.taken_over" or "edit.theirs") .. " «" ..
        field_text(name, taken_over and theirs[name].before or theirs[name].now) .. "»"
      class = class or "changed"
    end
    if #hints > 0 then
      local hint = view.Part["HINT"]
      hint:Clear()
      hint.Tag["NAME"], hint.Tag["CLASS"] = name, class
      hint.Tag["TEXT"] = zu.html_escape(table.concat(hints, " "))
      view.Tag[key .. "_HINT"] = hint:BuildTemplate()
      view.Tag[key .. "_ATTR"] = ' aria-describedby="' .. name .. '-hint"' ..
        (faults[name] and ' aria-invalid="true"' or "") .. (marked and "" or " autofocus")
      marked = true
    end
  end
  view.Tag["CITIES"] = options(view.Part["OPTION"], cities, kept.values.city, function(city)
    return city[1], request.Language == "en" and city[2] or city[1]
  end)
  view.Tag["STATUSES"] = options(view.Part["OPTION"], statuses, kept.values.status, function(status)
    return status, page.string("status." .. status)
  end)
  view.Tag["ID"] = zu.html_escape(kept.id)
  view.Tag["HIDDEN"] = hidden_fields(kept, false)
  if says.banner or says.faults then
    local banner = view.Part["BANNER"]
    banner.Tag["TEXT"] = zu.html_escape(says.banner or page.string("edit.faults"))
    if not marked then banner.Tag["FOCUS"] = " autofocus" end
    view.Tag["BANNER"] = banner:BuildTemplate()
  end

  local buttons = view.Part[({ session = "SIGNIN", block = "LOST", deleted = "DELETED" })[says.lost] or "HELD"]
  buttons.Tag["CANCEL"] = kept.id ~= "" and "/order?id=" .. zu.url_escape(kept.id) or "/orders"
  view.Tag["BUTTONS"] = buttons:BuildTemplate()
  if not says.lost then
    local live = view.Part["LIVE"]
    live.Tag["BLOCK"] = zu.html_escape(kept.block)
    live.Tag["SECONDS"] = record.beat()
    view.Tag["LIVE"] = live:BuildTemplate()
  end
  local title = page.string(kept.id == "" and "edit.new" or "edit.title")
  local number = kept.id ~= "" and db.select("SELECT " .. page.order_number .. " AS Number FROM Orders o" ..
    page.order_document .. " WHERE o.ID = :ID", { ID = page.integer(kept.id) or 0 })[1]
  if number then title = title .. " " .. number.Number end
  view.Tag["TITLE"] = zu.html_escape(title)
  response.Status = says.status or 200
  page.write(title, view:BuildTemplate(), kept.id == "" and "/orders" or "/order", { { "id", kept.id } })
end

--- The session is over: nothing is written, and the same page signs in again.
function form.signed_out(kept, banner)
  form.show(kept, { lost = "session", banner = banner or page.string("lost.session"), status = 403 })
end

--- Takes the record for values that were typed already. What somebody else stored meanwhile comes into the fields that the
--- user left alone; where both changed one, both values are shown.
function form.retake(kept, banner)
  local block, why
  if kept.id == "" then
    block = RecordBlocker:GetLockRecord("Orders", "")
    if not block then why = record.why() end
  else
    block, why = record.take(kept.id, "edit")
  end
  if not block and record.busy(why) then
    return record.refuse(why, kept.id, "/order/save", hidden_fields(kept, true) ..
      '<input type="hidden" name="action" value="retake">')
  end
  if not block then
    return form.show(kept, { lost = why.code == 302 and "deleted" or "block", banner = record.message(why),
      status = why.code == 402 and 403 or 409 })
  end
  local now, theirs, before = form.values_of(block), {}, kept.was
  kept.block, kept.was = block.ID, now
  for name, value in pairs(now) do
    if kept.id ~= "" and value ~= before[name] then
      if kept.values[name] == before[name] then kept.values[name] = value end
      theirs[name] = { now = value, before = before[name] }
    end
  end
  if next(theirs) then banner = page.string("edit.changed") end
  form.show(kept, { theirs = theirs, banner = banner or page.string("edit.retaken"), status = next(theirs) and 409 or 200 })
end

return form
