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

local function rules_of(filter)
  return db.select("SELECT ParamIndex, Params, WrongValues, RightValues FROM CheckParams WHERE FilterID = :ID " ..
    "ORDER BY ParamIndex", { ID = filter })
end

local function exists(filter)
  return db.select("SELECT count(*) AS Count FROM CheckParamsFilters WHERE ID = :ID", { ID = filter })[1].Count > 0
end

-- Writes all rules anew, so that their positions have no gaps; half a filter is never stored.
local function store(filter, rules)
  db.transaction(function()
    db.exec("DELETE FROM CheckParams WHERE FilterID = :ID", { ID = filter })
    for index, rule in ipairs(rules) do
      db.exec("INSERT INTO CheckParams (FilterID, ParamIndex, Params, WrongValues, RightValues) " ..
        "VALUES (:ID, :ParamIndex, :Params, :Wrong, :Right)",
        { ID = filter, ParamIndex = index - 1, Params = rule.Params, Wrong = rule.WrongValues, Right = rule.RightValues })
    end
  end)
  if filter == ParamsChecker.FilterID then ParamsChecker:LoadFilter(filter) end
end

local actions = {}

function actions.add()
  id = db.select("SELECT coalesce(max(ID), 2) AS Last FROM CheckParamsFilters")[1].Last
  id = math.max(id, reserved_last) + 1
  db.exec("INSERT INTO CheckParamsFilters (ID, Name, FilterDescribe) VALUES (:ID, :Name, '')",
    { ID = id, Name = page.param("name") })
  notice = "SAVED"
end

function actions.save()
  local rules = rules_of(id)
  local rule = { Params = page.param("params"), WrongValues = page.param("wrong"), RightValues = page.param("right") }
  local index = page.number("index", #rules, 0, #rules)
  rules[index + 1] = rule
  store(id, rules)
  notice = "SAVED"
end

function actions.remove()
  local rules = rules_of(id)
  local index = page.number("index", -1, -1, #rules)
  if rules[index + 1] and index >= 0 then table.remove(rules, index + 1) end
  store(id, rules)
  notice = "SAVED"
end

function actions.use()
  ParamsChecker:LoadFilter(id)
  notice = "USED"
end

function actions.delete()
  if id >= 0 and id <= reserved_last or id == ParamsChecker.FilterID then return end
  db.transaction(function()
    db.exec("DELETE FROM CheckParams WHERE FilterID = :ID", { ID = id })
    db.exec("DELETE FROM CheckParamsFilters WHERE ID = :ID", { ID = id })
  end)
  id = ParamsChecker.FilterID
  notice = "DELETED"
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
  -- The message ends in the offender and its place; it quotes the value upper-cased, as it was checked.
  local upper = zu.upper(value)
  local offender, position = message:match('"([^"]*)" at position (%d+)%.$')
  if not offender then offender, position = message:match('symbol "(.*)" at position (%d+)%.$') end
  local refused = view.Part["REFUSED"]
  refused.Tag["MARKED"] = offender and marked(upper, math.tointeger(tonumber(position)), units(offender)) or
    zu.html_escape(upper)
  local _, quoted = message:find('Value "' .. upper .. '" ', 1, true)
  refused.Tag["MESSAGE"] = zu.html_escape(message:sub((quoted or 0) + 1))
  view.Tag["VERDICT"] = refused:BuildTemplate()
end

if action ~= "" and action ~= "add" and not exists(id) then
  notice, action = "MISSING", ""
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
  local stored = rules_of(id)
  for index = 1, #stored + 1 do -- the last one is empty: a place for a new rule
    local rule = stored[index] or { Params = "", WrongValues = "", RightValues = "" }
    row:Clear()
    row.Tag["TOKEN"] = request.FormToken
    row.Tag["ID"] = id
    row.Tag["INDEX"] = index - 1
    row.Tag["PARAMS"] = zu.html_escape(rule.Params or "")
    row.Tag["WRONG"] = zu.html_escape(rule.WrongValues or "")
    row.Tag["RIGHT"] = zu.html_escape(rule.RightValues or "")
    if stored[index] then row.Tag["REMOVE"] = remove end
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
view.Tag["TOKEN"] = request.FormToken
view.Tag["ID"] = id
view.Tag["PARAM"] = zu.html_escape(page.param("param"))
view.Tag["VALUE"] = zu.html_escape(page.param("value"))
view.Tag["RULES"] = rules()

page.write(page.text(texts, "TITLE"), view:BuildTemplate(), "/admin/filters", { { "id", id } })
