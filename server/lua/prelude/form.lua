-- zu.form: a page with a form that takes a record, checks what was typed, and saves it. What was typed is never lost:
-- every answer to a form that was not saved has the form again, or carries its values along.
local zu, host = ...

local text = host.text
local Form = {}
Form.__index = Form

local kinds = { text = true, long = true, date = true, integer = true, number = true, money = true, choice = true,
  boolean = true }

--- table, fields; title, back, template, document, check(values, record, id), fill(record, values, id).
function zu.form(given)
  local self = setmetatable({}, Form)
  for key, value in pairs(given) do self[key] = value end
  if type(self.table) ~= "string" or type(self.fields) ~= "table" then
    error("zu.form needs table = \"...\" and fields = {...}", 2)
  end
  local fields = {}
  for index, each in ipairs(self.fields) do
    local field = {}
    for key, value in pairs(type(each) == "table" and each or { each }) do field[key] = value end
    field.name = field.name or field[1]
    if type(field.name) ~= "string" then error("zu.form: field " .. index .. " has no name", 2) end
    field.column = field.column or field.name
    field.kind = field.kind or (field.choices and "choice") or "text"
    if not kinds[field.kind] then error("zu.form: unknown kind \"" .. tostring(field.kind) .. "\" of " .. field.name, 2) end
    fields[index] = field
  end
  self.fields = fields
  self.prefix = self.prefix or self.table:lower()
  return self
end

local function param(name) return request.Params.Value[name] end

local function plain(value) return (value:gsub("\r\n?", "\n")) end

local function choices_of(field)
  local list = field.choices
  if type(list) == "function" then list = list() end
  local result = {}
  for index, item in ipairs(list or {}) do
    if type(item) ~= "table" then
      local key = (field.texts or "") .. tostring(item)
      item = { item, field.texts and text(key) or tostring(item) }
    end
    result[index] = { tostring(item[1]), tostring(item[2] or item[1]) }
  end
  return result
end

-- A column's value as the form shows it, and back: nil and a text's key for what is none.
local function shown(field, value)
  if value == nil then return "" end
  if field.kind == "money" then return zu.money(math.tointeger(value) or tonumber(value)) end
  if field.kind == "number" then return zu.number(tonumber(value)) end
  if field.kind == "boolean" then return (value == true or value == 1 or value == "1") and "1" or "" end
  if field.kind == "date" then return tostring(value):sub(1, 10) end
  return tostring(value)
end

local function is_date(value)
  local year, month, day = value:match("^(%d%d%d%d)%-(%d%d)%-(%d%d)$")
  if not year then return false end
  local moment = os.date("*t", os.time { year = tonumber(year), month = tonumber(month), day = tonumber(day), hour = 12 })
  return moment.month == tonumber(month) and moment.day == tonumber(day)
end

local function stored(field, value)
  if field.kind == "boolean" then return value ~= "" and 1 or 0 end
  if value == "" then return field.null ~= false and field.kind ~= "text" and field.kind ~= "long" and db.null or "" end
  if field.kind == "date" then
    if not is_date(value) then return nil, "field.date" end
  elseif field.kind == "choice" then
    for _, item in ipairs(choices_of(field)) do
      if item[1] == value then return value end
    end
    return nil, "field.choice"
  elseif field.kind == "integer" or field.kind == "number" or field.kind == "money" then
    local number = zu.parse_number(value)
    if not number then return nil, field.kind == "integer" and "field.integer" or "field.number" end
    if field.kind == "money" then number = number * 100 end
    if field.kind ~= "number" then
      local whole = math.tointeger(number) or math.tointeger(math.floor(number + 0.5))
      if not whole or math.abs(whole - number) > 1e-6 then return nil, "field.integer" end
      number = whole
    end
    if field.min and number < field.min then return nil, "field.least" end
    if field.max and number > field.max then return nil, "field.most" end
    return number
  end
  return value
end

function Form:values_of(block)
  local values = {}
  for _, field in ipairs(self.fields) do values[field.name] = plain(shown(field, block.RecordInterface[field.column])) end
  return values
end

-- What came with the form: the values, and those that the record had when the user got it.
function Form:read()
  local kept = { id = param("id"), block = param("block"), values = {}, was = {} }
  for _, field in ipairs(self.fields) do
    kept.values[field.name] = plain(param(field.name))
    kept.was[field.name] = plain(param("was_" .. field.name))
  end
  -- Nobody types this: what comes was filled in by us, or is forged.
  if not (kept.block:find("^%x*$") and #kept.block <= 64) then response:Refuse(400, "block") end
  return kept
end

function Form:address(values) return zu.address(request.Path, values) end

function Form:back_of(id)
  if type(self.back) == "function" then return self.back(id) end
  return self.back or "/"
end

function Form:begin(id)
  if id == "" then
    -- The blocker looks at this right when the record is written; whoever lacks it should not type in vain.
    if not self.anonymous and not session.may("insert", self.table) then
      return nil, { code = 402, message = text("blocker.402") }
    end
    local block = RecordBlocker:NewRecord(self.table)
    return block, not block and zu.refusal() or nil
  end
  -- A block that this session has already is given back first: the new one has another ID, so that a page which says
  -- good-bye late, or an older tab, does not meet this one.
  if RecordBlocker:CheckRecordAccess(self.table, id) == 1 then
    local old = RecordBlocker:GetLockRecord(self.table, id)
    if old then RecordBlocker:RollBackRecord(old.ID) end
  end
  local block = RecordBlocker:GetLockRecord(self.table, id)
  return block, not block and zu.refusal() or nil
end

local function to_sign_in()
  if session.user ~= "" or host.sign_in == "" then return false end
  response:Redirect(zu.address(host.sign_in, { back = zu.address(request.Path, { id = param("id") }) }))
  return true
end

--- Takes the record of that ID, or begins a new one without an ID, and writes the page with its form.
function Form:take(id)
  id = tostring(id or "")
  if not self.anonymous and to_sign_in() then return end
  local block, why = self:begin(id)
  if not block then return self:refuse(why, id) end
  local values = self:values_of(block)
  local kept = { id = id, block = block.ID, values = values, was = {} }
  for name, value in pairs(values) do kept.was[name] = value end
  if id == "" then
    for _, field in ipairs(self.fields) do
      local first = field.default
      if type(first) == "function" then first = first() end
      if first ~= nil then values[field.name] = shown(field, first) end
    end
  end
  return self:show(kept, {})
end

-- Language keys by field of what is wrong, and the values for the columns. What the record had already passes.
function Form:check_values(kept, block)
  local faults, columns, had = {}, {}, self:values_of(block)
  for _, field in ipairs(self.fields) do
    local value = kept.values[field.name]
    local fault
    if value == "" and field.required then
      fault = "field.required"
    elseif value ~= "" and value ~= had[field.name] then
      if (utf8.len(value) or math.huge) > (field.length or math.huge) then
        fault = "field.long"
      elseif field.filter ~= false and
          not pcall(function() ParamsChecker:CheckParamValue(field.name, value, true) end) then
        fault = "field.refused"
      end
    end
    local column
    if not fault then column, fault = stored(field, value) end
    if fault and value == had[field.name] and value ~= "" then
      column, fault = block.RecordInterface[field.column], nil
    end
    columns[field.name], faults[field.name] = column, fault
  end
  if not next(faults) and self.check then
    for name, key in pairs(self.check(columns, block.RecordInterface, kept.id) or {}) do faults[name] = key end
  end
  return next(faults) and faults or nil, columns
end

local database_faults = { unique = "form.unique", reference = "form.reference", check = "form.check" }

--- Answers the form that was sent: saved, or the page again with what was typed and a text at each field.
function Form:save()
  if request.Method ~= "POST" then return self:take(param("id")) end
  local kept, action = self:read(), param("action")
  if not request.FormTokenGood then
    return self:show(kept, { lost = session.user == "" and not self.anonymous and "session" or "block",
      banner = text("form.signed_out"), status = 403 })
  end
  if action == "signin" then
    local answer = session.sign_in(param("user"), param("password"))
    if answer == "ok" then return self:retake(kept) end
    return self:show(kept, { lost = "session", banner = text("form.signin." .. answer), status = 403 })
  end
  if session.user == "" and not self.anonymous then
    return self:show(kept, { lost = "session", banner = text("form.signed_out"), status = 403 })
  end
  if action == "cancel" then
    RecordBlocker:RollBackRecord(kept.block)
    return response:Redirect(self:back_of(kept.id))
  end
  if action == "insert" then kept.id = "" end
  if action == "insert" or action == "retake" then return self:retake(kept) end

  local state = RecordBlocker:CheckRecordAccess(kept.block) -- others may not even look into it
  local block = (state == 1 or state == 3) and RecordBlocker:GetLockRecord(kept.block)
  if not block or block.TableName:lower() ~= self.table:lower() or block.RecordID ~= kept.id then
    return self:show(kept, { lost = "block", banner = text("form.lost"), status = 409 })
  end
  local faults, columns = self:check_values(kept, block)
  if faults then return self:show(kept, { faults = faults, status = 422 }) end
  local record = block.RecordInterface
  for _, field in ipairs(self.fields) do
    local value = columns[field.name]
    if value == db.null then value = nil end
    record[field.column] = value
  end
  if self.fill then self.fill(record, columns, kept.id) end
  db.clear_error()
  local as_document = self.document
  if type(as_document) == "function" then as_document = as_document(kept.id) end
  local done
  if as_document then
    done = RecordBlocker:CommitDocInTable(kept.block)
  else
    done = RecordBlocker:CommitRecord(kept.block)
  end
  if done then
    local id = RecordBlocker:LastObjectParams().RecordID
    if self.saved then return self.saved(id, kept.id == "") end
    session.flash(text(self.prefix .. ".saved") ~= self.prefix .. ".saved" and text(self.prefix .. ".saved") or
      text("form.saved"))
    return response:Redirect(self:back_of(id))
  end
  return self:not_saved(kept)
end

function Form:not_saved(kept)
  local why, fault = zu.refusal(), db.last_error()
  if why.code == 402 or why.code == 220 then
    return self:show(kept, { lost = "block", banner = why.message, status = why.code == 402 and 403 or 409 })
  end
  if why.code ~= 303 then return self:show(kept, { banner = why.message, status = 409 }) end
  local key = fault and database_faults[fault.kind]
  if key then
    for _, field in ipairs(self.fields) do
      if fault.column and field.column:lower() == fault.column:lower() then
        return self:show(kept, { faults = { [field.name] = key }, status = 422 })
      end
    end
    return self:show(kept, { banner = text(key), status = 422 })
  end
  RecordBlocker:RollBackRecord(kept.block) -- changed underneath: begin anew with the record as it is now
  return self:retake(kept, why.message)
end

-- Takes the record for values that were typed already. What somebody else stored meanwhile comes into the fields that
-- the user left alone; where both changed one, both values are shown.
function Form:retake(kept, banner)
  local block, why = self:begin(kept.id)
  if not block and (why.code == 101 or why.code == 201 or why.code == 202) then
    return self:refuse(why, kept.id, kept)
  end
  if not block then
    return self:show(kept, { lost = why.code == 302 and "deleted" or "block", banner = why.message,
      status = why.code == 402 and 403 or 409 })
  end
  local now, theirs, before = self:values_of(block), {}, kept.was
  kept.block, kept.was = block.ID, now
  for name, value in pairs(now) do
    if kept.id ~= "" and value ~= before[name] then
      if kept.values[name] == before[name] then kept.values[name] = value end
      theirs[name] = { now = value, before = before[name] }
    end
  end
  if next(theirs) then banner = text("form.changed") end
  return self:show(kept, { theirs = theirs, banner = banner or text("form.retaken"), status = next(theirs) and 409 or 200 })
end

--- Asks whether to delete the record, and deletes it when the answer comes.
function Form:delete(id)
  if not self.anonymous and to_sign_in() then return end
  local block_id = param("block")
  if request.Method == "POST" then
    id = param("id")
    if not request.FormTokenGood then
      response.Status = 403
      return host.write(self:message(text("form.lost"), id), zu.html_escape(text("form.delete")), self.frame)
    end
    if param("action") ~= "delete" then
      RecordBlocker:RollBackRecord(block_id)
      return response:Redirect(self:back_of(id))
    end
    db.clear_error()
    if RecordBlocker:CheckRecordAccess(block_id) == 2 and RecordBlocker:CommitRecord(block_id) then
      session.flash(text("form.deleted"))
      return response:Redirect(self:back_of(""))
    end
    local why, fault = zu.refusal() or { code = 220, message = text("form.lost") }, db.last_error()
    if why.code == 303 then
      RecordBlocker:RollBackRecord(block_id)
      if fault and database_faults[fault.kind] then why.message = text(database_faults[fault.kind]) end
    end
    return self:refuse(why, id)
  end
  id = tostring(id)
  if RecordBlocker:CheckRecordAccess(self.table, id) == 2 then
    local old = RecordBlocker:DeleteRecord(self.table, id)
    if old then RecordBlocker:RollBackRecord(old.ID) end
  end
  local block = RecordBlocker:DeleteRecord(self.table, id)
  if not block then return self:refuse(zu.refusal(), id) end
  local facts = {}
  for _, field in ipairs(self.fields) do
    facts[#facts + 1] = "<dt>" .. zu.html_escape(self:label(field)) .. "</dt><dd>" ..
      zu.html_escape(self:said(field, shown(field, block.RecordInterface[field.column]))) .. "</dd>"
  end
  local title = zu.html_escape(text("form.delete"))
  return host.write("<h1>" .. title .. '</h1><dl class="facts">' .. table.concat(facts) .. "</dl><p>" ..
    zu.html_escape(text("form.ask")) .. '</p><form method="post" action="' .. zu.html_escape(request.Path) .. '">' ..
    self:hidden { id = id, block = block.ID } .. '<button type="submit" name="action" value="delete" class="danger">' ..
    title .. '</button> <button type="submit" name="action" value="cancel" class="quiet">' ..
    zu.html_escape(text("form.cancel")) .. "</button></form>", title, self.frame)
end

--- One word for scripts of open pages, whose question also keeps the session alive: "held", "lost", "signed-out",
--- "taken" or "free".
function Form:state()
  response.ContentType = "text/plain; charset=utf-8"
  local block = param("block")
  if session.user == "" and not self.anonymous then return response:Write("signed-out") end
  if block ~= "" then
    local held = RecordBlocker:GetLockRecord(block) -- unlike CheckRecordAccess it leaves the block's history alone
    return response:Write(held and held.SID == Session.SID and "held" or "lost")
  end
  response:Write(zu.blocks.holder(self.table, param("id")) and "taken" or "free")
end

--- A page with a block is left: its block is given back.
function Form:release()
  if request.Method == "POST" then RecordBlocker:RollBackRecord(param("block")) end
  response.Status = 204
end

-- ---- what is shown

local function tag(format, ...)
  local values = { ... }
  for index, value in ipairs(values) do values[index] = zu.html_escape(tostring(value)) end
  return (format:format(table.unpack(values)))
end

function Form:label(field)
  if field.label then return text(field.label) end
  return text(self.prefix .. "." .. field.name)
end

-- A value as people read it.
function Form:said(field, value)
  if field.kind == "date" and is_date(value) then return zu.date(value) end
  if field.kind ~= "choice" then return value end
  for _, item in ipairs(choices_of(field)) do
    if item[1] == value then return item[2] end
  end
  return value
end

function Form:hidden(kept)
  local out = {}
  local function add(name, value) out[#out + 1] = tag('<input type="hidden" name="%s" value="%s">', name, value) end
  add("form_token", request.FormToken)
  add("id", kept.id)
  add("block", kept.block)
  for _, field in ipairs(kept.was and self.fields or {}) do
    add("was_" .. field.name, kept.was[field.name])
    if kept.with_values then add(field.name, kept.values[field.name]) end
  end
  return table.concat(out)
end

function Form:options(field, value)
  local out = { field.required and value ~= "" and "" or '<option value=""></option>' }
  for _, item in ipairs(choices_of(field)) do
    out[#out + 1] = tag('<option value="%s"', item[1]) .. (item[1] == value and " selected>" or ">") ..
      tag("%s</option>", item[2])
  end
  return table.concat(out)
end

local inputs = { date = "date", integer = "text\" inputmode=\"numeric", number = "text\" inputmode=\"decimal",
  money = "text\" inputmode=\"decimal" }

function Form:control(field, value, attributes)
  local name = zu.html_escape(field.name)
  local start = 'id="' .. name .. '" name="' .. name .. '"' .. attributes
  if field.kind == "choice" then return "<select " .. start .. ">" .. self:options(field, value) .. "</select>" end
  if field.kind == "long" then
    return "<textarea " .. start .. ' rows="3">\n' .. zu.html_escape(value) .. "</textarea>"
  end
  if field.kind == "boolean" then
    return '<input type="checkbox" value="1" ' .. start .. (value ~= "" and " checked>" or ">")
  end
  if field.length then start = start .. ' maxlength="' .. field.length .. '"' end
  return '<input type="' .. (inputs[field.kind] or "text") .. '" ' .. start .. ' value="' .. zu.html_escape(value) .. '">'
end

local function beat()
  return math.max(1, math.min(60, session.idle_seconds // 4))
end

function Form:buttons(kept, lost)
  local function button(action, key, class)
    return '<button type="submit" name="action" value="' .. action .. '"' .. (class or "") .. ">" ..
      zu.html_escape(text(key)) .. "</button>"
  end
  local leave = tag(' <a href="%s">%s</a>', self:back_of(kept.id), text("form.leave"))
  if lost == "block" then return button("retake", "form.again") .. leave end
  if lost == "deleted" then return button("insert", "form.insert") .. leave end
  if lost == "session" then
    return tag('<span class="field"><label for="user">%s</label><input id="user" name="user" autocomplete="username"></span>',
      text("form.user")) ..
      tag('<span class="field"><label for="password">%s</label><input id="password" name="password" type="password" ' ..
        'autocomplete="current-password"></span>', text("form.password")) .. button("signin", "form.signin") .. leave
  end
  return button("save", "form.save") .. " " .. button("cancel", "form.cancel", ' class="quiet" formnovalidate')
end

function Form:title_of(id)
  if type(self.title) == "function" then return self.title(id) end
  local key = self.title or (id == "" and self.prefix .. ".new" or self.prefix .. ".edit")
  local title = text(key)
  if title == key and not self.title then title = text(id == "" and "form.new" or "form.edit") end
  return title
end

-- `says`: banner (a text), faults (language keys by field), theirs (by field, what somebody else stored meanwhile: now,
-- and before), lost ("session", "block" or "deleted": the record must be taken again), status.
function Form:show(kept, says)
  local values, whole = {}, {}
  local faults, theirs, marked = says.faults or {}, says.theirs or {}, false
  for _, field in ipairs(self.fields) do
    local name, value = field.name, kept.values[field.name]
    local hints, class, attributes = {}, nil, ""
    if faults[name] then hints[1], class = text(faults[name]), "wrong" end
    if theirs[name] then
      local taken_over = theirs[name].now == value
      hints[#hints + 1] = text(taken_over and "form.taken_over" or "form.theirs") .. " «" ..
        self:said(field, taken_over and theirs[name].before or theirs[name].now) .. "»"
      class = class or "changed"
    end
    local hint = ""
    if #hints > 0 then
      hint = tag('<p class="%s" id="%s-hint">%s</p>', class, name, table.concat(hints, " "))
      attributes = tag(' aria-describedby="%s-hint"', name) .. (faults[name] and ' aria-invalid="true"' or "") ..
        (marked and "" or " autofocus")
      marked = true
    end
    local key = name:upper()
    values[key], values[key .. "_ATTR"], values[key .. "_HINT"] = value, zu.raw(attributes), zu.raw(hint)
    if field.kind == "choice" then values[key .. "_OPTIONS"] = zu.raw(self:options(field, value)) end
    local control = tag('<div class="field"><label for="%s">%s</label>', name, self:label(field)) ..
      self:control(field, value, attributes) .. hint .. "</div>"
    values[key .. "_FIELD"] = zu.raw(control)
    whole[#whole + 1] = control
  end
  local banner = says.banner or says.faults and text("form.faults") or nil
  banner = banner and tag('<p class="notice bad" role="alert" tabindex="-1"', "") .. (marked and ">" or " autofocus>") ..
    zu.html_escape(banner) .. "</p>" or ""
  local live = says.lost and "" or tag('<p class="notice bad" role="alert" hidden data-live="%s" data-seconds="%s" ' ..
    'data-offline="%s" data-lost="%s" data-signed-out="%s"></p>', kept.block, beat(), text("form.offline"),
    text("form.lost"), text("form.signed_out"))
  local title = self:title_of(kept.id)
  local buttons = self:buttons(kept, says.lost)
  values.TITLE, values.ID, values.HIDDEN = title, kept.id, zu.raw(self:hidden(kept))
  values.BANNER, values.LIVE, values.BUTTONS = zu.raw(banner), zu.raw(live), zu.raw(buttons)
  values.FORM = zu.raw(banner .. live .. tag('<form id="record" class="edit" method="post" action="%s" novalidate>',
    request.Path) .. tostring(values.HIDDEN) .. table.concat(whole) .. '<div class="wide buttons">' .. buttons ..
    "</div></form>")
  response.Status = says.status or 200
  if not self.template then
    local head = zu.html_escape(title)
    return host.write("<h1>" .. head .. "</h1>" .. tostring(values.FORM), head, self.frame)
  end
  local more = self.values and self.values(kept) or {}
  local content, found = zu.fill(self.template, more, values)
  return host.write(content, found ~= "" and found or zu.html_escape(title), self.frame)
end

function Form:message(message, id)
  return '<div class="refused"><h1>' .. zu.html_escape(message) .. "</h1>" ..
    tag('<p><a href="%s">%s</a></p></div>', self:back_of(id), text("form.back"))
end

local statuses = { [301] = 403, [302] = 404, [402] = 403 }

-- The page for a record that cannot be had. `kept` is what the user typed: it comes back with the record.
function Form:refuse(why, id, kept)
  response.Status = statuses[why.code] or 409
  if why.code ~= 101 and why.code ~= 201 and why.code ~= 202 then
    if why.code == 301 then zu.log("warning", why.detail) end
    return host.write(self:message(why.message, why.code == 302 and "" or id), zu.html_escape(why.message), self.frame)
  end
  if kept then kept.with_values = true end
  local hidden = kept and self:hidden(kept) .. '<input type="hidden" name="action" value="retake">' or
    tag('<input type="hidden" name="id" value="%s">', id)
  local content = '<div class="refused">' .. tag("<h1>%s</h1>", why.message) ..
    tag('<dl class="facts"><dt>%s</dt><dd class="holder">%s', text("form.who"), why.user) ..
    (why.user == session.user and tag(' <span class="describe">%s</span>', text("form.self")) or "") ..
    tag('</dd><dt>%s</dt><dd class="since">%s</dd></dl><p>%s</p>', text("form.since"), zu.date(why.since, "minute"),
      text("form.busy")) ..
    (kept and tag('<p class="notice">%s</p>', text("form.kept")) or "") ..
    tag('<form id="retry" method="%s" action="%s" data-retry="%s">', kept and "post" or "get", request.Path, id) .. hidden ..
    tag('<button type="submit">%s</button> <span class="describe" role="status" data-waiting="%s" data-free="%s"></span></form>',
      text("form.retry"), text("form.waiting"), text("form.free")) ..
    tag('<p><a href="%s">%s</a></p></div>', self:back_of(id), text("form.back"))
  return host.write(content, zu.html_escape(why.message), self.frame)
end
