-- The administration of value filters: their rules, the one in use, and a box to try a value.
--
-- The filter in front of the modules does not look at this page (see orders.toml): rules and values to try hold the
-- very characters that it refuses.
local page = require "page"

local reserved_last = 2 -- 0, 1 and 2 are High, Medium and Low

local view = zu.create("TTemplate")
view.Name = "filters.html"
local texts = view.Part["TEXTS"]

local id = page.number("id", ParamsChecker.FilterID, -2147483648, 2147483647)
local action = request.Method == "POST" and page.param("action") or ""
local notice
local typed -- what a form held that could not be saved: { index = row, rule = rule }, or { name = text }

local function rules_of(filter)
  return db.select("SELECT ParamIndex, Params, WrongValues, RightValues FROM CheckParams WHERE FilterID = :ID " ..
    "ORDER BY ParamIndex", { ID = filter })
end

local function exists(filter)
  return db.select("SELECT count(*) AS Count FROM CheckParamsFilters WHERE ID = :ID", { ID = filter })[1].Count > 0
end

-- Runs `work` in a transaction that has the filters to itself; its result is the notice. Whoever changes a filter, `zuhost
-- filters` too, writes to the row of High first and so waits for the others.
local function alone(work)
  notice = db.transaction(function()
    db.exec("UPDATE CheckParamsFilters SET Name = Name WHERE ID = 0")
    return work()
  end)
end

-- The same with the rules of the filter at hand, which `work` may change.
local function with_rules(work)
  alone(function()
    if not exists(id) then return "MISSING" end
    return work(rules_of(id))
  end)
  if notice == "SAVED" and id == ParamsChecker.FilterID then ParamsChecker:LoadFilter(id) end
end

-- Writes all rules anew, so that their positions have no gaps.
local function store(rules)
  db.exec("DELETE FROM CheckParams WHERE FilterID = :ID", { ID = id })
  for index, rule in ipairs(rules) do
    db.exec("INSERT INTO CheckParams (FilterID, ParamIndex, Params, WrongValues, RightValues) " ..
      "VALUES (:ID, :ParamIndex, :Params, :Wrong, :Right)",
      { ID = id, ParamIndex = index - 1, Params = rule.Params, Wrong = rule.WrongValues, Right = rule.RightValues })
  end
  return "SAVED"
end

-- A number made of what a rule says (FNV-1a). A form carries that of the rule which it was filled from.
local function version(rule)
  local hash = 0xCBF29CE484222325
  local text = table.concat({ rule.Params or "", rule.WrongValues or "", rule.RightValues or "" }, "\0")
  for at = 1, #text do hash = (hash ~ text:byte(at)) * 0x100000001B3 end
  return ("%x"):format(hash)
end

-- A rule's names as filters compare them.
local function names(params)
  local list = {}
  for name in ((params or ""):gsub(",$", "") .. ","):gmatch("([^,]*),") do
    list[#list + 1] = zu.upper(name:match("^%s*(.-)%s*$"))
  end
  return table.concat(list, ",")
end

-- The position of the first rule that `fits`; nil when none does.
local function find(rules, fits)
  for index, rule in ipairs(rules) do
    if fits(rule) then return index end
  end
end

local function find_version(rules, wanted)
  return find(rules, function(rule) return version(rule) == wanted end)
end

local function find_names(rules, wanted)
  return find(rules, function(rule) return names(rule.Params) == wanted end)
end

-- A browser sends every line end as CR LF; a text that differs in nothing else is left as it is stored.
local function kept(text, stored)
  local function plain(lines) return ((lines or ""):gsub("\r\n?", "\n")) end
  return plain(text) == plain(stored) and stored or text
end

local actions = {}

function actions.add()
  local name = page.param("name")
  alone(function()
    local last = reserved_last
    for _, filter in ipairs(db.select("SELECT ID, Name FROM CheckParamsFilters")) do
      if zu.upper(filter.Name or "") == zu.upper(name) then
        typed = { name = name }
        return "TAKEN"
      end
      last = math.max(last, filter.ID)
    end
    id = last + 1
    db.exec("INSERT INTO CheckParamsFilters (ID, Name, FilterDescribe) VALUES (:ID, :Name, '')", { ID = id, Name = name })
    return "SAVED"
  end)
end

function actions.save()
  local rule = { Params = page.param("params"), WrongValues = page.param("wrong"), RightValues = page.param("right") }
  local form = page.param("version")
  with_rules(function(rules)
    local index = form == "" and #rules + 1 or find_version(rules, form)
    if not index then -- somebody changed the rule, or took it away
      typed = { rule = rule, index = find_names(rules, names(page.param("was"))) or #rules + 1 }
      return "STALE"
    end
    local same = find_names(rules, names(rule.Params))
    if same and same ~= index then
      typed = { rule = rule, index = index }
      return "SAME"
    end
    local stored = rules[index]
    if stored then
      rule.WrongValues = kept(rule.WrongValues, stored.WrongValues)
      rule.RightValues = kept(rule.RightValues, stored.RightValues)
    end
    rules[index] = rule
    return store(rules)
  end)
end

function actions.remove()
  with_rules(function(rules)
    local index = find_version(rules, page.param("version"))
    if not index then return "STALE" end
    table.remove(rules, index)
    return store(rules)
  end)
end

function actions.use()
  notice = ParamsChecker:LoadFilter(id) and "USED" or "MISSING"
end

function actions.delete()
  if id >= 0 and id <= reserved_last or id == ParamsChecker.FilterID then return end
  alone(function()
    db.exec("DELETE FROM CheckParams WHERE FilterID = :ID", { ID = id })
    db.exec("DELETE FROM CheckParamsFilters WHERE ID = :ID", { ID = id })
    return "DELETED"
  end)
  id = ParamsChecker.FilterID
end

-- The text from UTF-16 position `first` on, `count` units long, in a mark; both are what the message says.
local function marked(text, first, count)
  local unit, start, stop = 1, nil, #text + 1
  for at, code in utf8.codes(text) do
    if unit == first then start = at end
    if unit == first + count then stop = at end
    unit = unit + (code > 0xFFFF and 2 or 1)
  end
  if not start then return zu.html_escape(text) end
  return zu.html_escape(text:sub(1, start - 1)) .. "<mark>" .. zu.html_escape(text:sub(start, stop - 1)) .. "</mark>" ..
    zu.html_escape(text:sub(stop))
end

local function units(text)
  local count = 0
  for _, code in utf8.codes(text) do count = count + (code > 0xFFFF and 2 or 1) end
  return count
end

function actions.try()
  local param, value = page.param("param"), page.param("value")
  local checker = zu.create("TParamsChecker")
  checker:Clear()
  for _, rule in ipairs(rules_of(id)) do checker:AddParams(rule.Params, rule.WrongValues, rule.RightValues) end
  local passes, message = pcall(function() checker:CheckParamValue(param, value, true) end)
  if passes then
    view.Tag["VERDICT"] = view.Part["PASSES"]:BuildTemplate()
    return
  end
  -- The message quotes the value upper-cased, as it was checked, then tells the offender and its place. Both texts may
  -- hold quotes themselves.
  local upper = zu.upper(value)
  local _, quoted = message:find('Value "' .. upper .. '" ', 1, true)
  local reason = message:sub((quoted or 0) + 1)
  local offender, position = reason:match('^contain [%a ]+ "(.*)" at position (%d+)%.$')
  local refused = view.Part["REFUSED"]
  refused.Tag["MARKED"] = offender and marked(upper, math.tointeger(tonumber(position)), units(offender)) or
    zu.html_escape(upper)
  refused.Tag["MESSAGE"] = zu.html_escape(reason)
  view.Tag["VERDICT"] = refused:BuildTemplate()
end

if actions[action] then actions[action]() end

local function list()
  local part, active, items = view.Part["FILTER"], view.Part["ACTIVE"]:BuildTemplate(), {}
  for _, filter in ipairs(db.select("SELECT ID, Name, FilterDescribe FROM CheckParamsFilters ORDER BY ID")) do
    part:Clear()
    part.Tag["URL"] = page.url("/admin/filters", { { "id", filter.ID } })
    part.Tag["NAME"] = zu.html_escape(filter.Name)
    part.Tag["DESCRIBE"] = zu.html_escape(filter.FilterDescribe or "")
    if filter.ID == id then part.Tag["CURRENT"] = ' aria-current="true"' end
    if ParamsChecker.Enabled and filter.ID == ParamsChecker.FilterID then part.Tag["ACTIVE"] = active end
    items[#items + 1] = part:BuildTemplate()
  end
  return table.concat(items)
end

local function rules()
  local filter = db.select("SELECT Name FROM CheckParamsFilters WHERE ID = :ID", { ID = id })[1]
  if not filter then return "" end
  local part = view.Part["RULES"]
  local row, remove, rows = part.Part["ROW"], nil, {}
  remove = row.Part["REMOVE"]:BuildTemplate()
  local now = row.Part["NOW"]
  local stored = rules_of(id)
  for index = 1, #stored + 1 do -- the last one is empty: a place for a new rule
    local rule = stored[index] or {}
    local shown = rule
    row:Clear()
    if stored[index] then
      row.Tag["VERSION"] = version(rule)
      row.Tag["WAS"] = zu.html_escape(rule.Params or "")
      row.Tag["REMOVE"] = remove
    end
    if typed and typed.index == index then
      shown = typed.rule
      if stored[index] then
        now.Tag["RULE"] = zu.html_escape(table.concat({ rule.Params or "", rule.WrongValues or "",
          rule.RightValues or "" }, "\n"))
        row.Tag["NOW"] = now:BuildTemplate()
      end
    end
    row.Tag["TOKEN"] = request.FormToken
    row.Tag["ID"] = id
    row.Tag["PARAMS"] = zu.html_escape(shown.Params or "")
    row.Tag["WRONG"] = zu.html_escape(shown.WrongValues or "")
    row.Tag["RIGHT"] = zu.html_escape(shown.RightValues or "")
    rows[#rows + 1] = row:BuildTemplate()
  end
  local use = part.Part["USE"]
  use.Tag["TOKEN"] = request.FormToken
  use.Tag["ID"] = id
  if id > reserved_last and id ~= ParamsChecker.FilterID then use.Tag["DELETE"] = use.Part["DELETE"]:BuildTemplate() end
  part.Tag["USE"] = use:BuildTemplate()
  part.Tag["NAME"] = zu.html_escape(filter.Name)
  part.Tag["ROWS"] = table.concat(rows)
  return part:BuildTemplate()
end

if notice then
  local part = view.Part["NOTICE"]
  part.Tag["TEXT"] = page.text(texts, notice)
  view.Tag["NOTICE"] = part:BuildTemplate()
end
view.Tag["FILTERS"] = list()
view.Tag["NEWNAME"] = zu.html_escape(typed and typed.name or "")
view.Tag["TOKEN"] = request.FormToken
view.Tag["ID"] = id
view.Tag["PARAM"] = zu.html_escape(page.param("param"))
view.Tag["VALUE"] = zu.html_escape(page.param("value"))
view.Tag["RULES"] = rules()

page.write(page.text(texts, "TITLE"), view:BuildTemplate(), "/admin/filters", { { "id", id } })
