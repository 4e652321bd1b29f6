-- zu.page and what belongs to pages: frames, addresses, tables as CSV, texts of our own.
-- Runs once in each engine; `zu` is the library table, `host` what the other files of the prelude share.
local zu, host = ...

-- Texts that an application may have under the same keys in its language files, and need not.
local own = {
  en = {
    ["blocker.101"] = "The table is locked", ["blocker.102"] = "The table has a record that is being edited",
    ["blocker.103"] = "The table has a record that is being added",
    ["blocker.201"] = "The record is being edited in another session",
    ["blocker.202"] = "The record is being deleted in another session",
    ["blocker.203"] = "The record is being added in another session",
    ["blocker.211"] = "This session is editing the record already",
    ["blocker.212"] = "This session is deleting the record already",
    ["blocker.220"] = "The record is not held any more", ["blocker.301"] = "The table cannot be opened",
    ["blocker.302"] = "There is no such record", ["blocker.303"] = "The record could not be saved",
    ["blocker.401"] = "The rights could not be checked", ["blocker.402"] = "You have no right to do this",
    ["blocker.501"] = "The record is busy, please try again", ["blocker.502"] = "This session has too many records",
    ["form.save"] = "Save", ["form.cancel"] = "Cancel", ["form.again"] = "Take the record again",
    ["form.retry"] = "Try again", ["form.insert"] = "Make a new record with these values", ["form.leave"] = "Leave it",
    ["form.signin"] = "Sign in and take the record again", ["form.user"] = "User", ["form.password"] = "Password",
    ["form.new"] = "New", ["form.edit"] = "Edit", ["form.saved"] = "Saved.", ["form.deleted"] = "Deleted.",
    ["form.faults"] = "Not saved: please mend the marked fields.",
    ["form.changed"] = "Not saved: the record was changed while you worked. Where you changed nothing the new value is " ..
      "filled in already; where you did, yours stays. Look it over and save again.",
    ["form.retaken"] = "The record is yours again. Nothing that you typed was lost: look it over and save.",
    ["form.lost"] = "The record is no longer yours. Nothing was written, but what you typed is still in the fields.",
    ["form.signed_out"] = "The session is over. Nothing was written, but what you typed is still in the fields.",
    ["form.signin.refused"] = "Name or password do not match.", ["form.signin.wait"] = "Too many tries: try again later.",
    ["form.theirs"] = "Now in the database:", ["form.taken_over"] = "The new value is filled in; it was:",
    ["form.unique"] = "There is one already.", ["form.reference"] = "Something else depends on it.",
    ["form.check"] = "This value is not allowed.", ["form.required"] = "A value is missing.",
    ["form.busy_now"] = "The database is busy, please try again.", ["form.who"] = "Who", ["form.since"] = "Since",
    ["form.self"] = "— that is you, in another window or browser",
    ["form.busy"] = "Wait until the record is free, or ask your colleague to finish.",
    ["form.kept"] = "What you typed is kept on this page and comes back with the record.",
    ["form.waiting"] = "This page takes the record by itself as soon as it is free.", ["form.free"] = "The record is free…",
    ["form.back"] = "Back", ["form.delete"] = "Delete", ["form.ask"] = "Delete this record? It cannot be brought back.",
    ["form.offline"] = "The service cannot be reached. What you typed stays on the page.",
    ["field.required"] = "Please fill in this field.", ["field.long"] = "Too long.",
    ["field.refused"] = "This value is not accepted: leave out tags and code.", ["field.date"] = "This is no date.",
    ["field.choice"] = "Choose from the list.", ["field.number"] = "This is no number.",
    ["field.integer"] = "This is no whole number.", ["field.least"] = "Too small.", ["field.most"] = "Too large.",
  },
  ru = {
    ["blocker.402"] = "У пользователя нет прав на совершение операции", -- the others it says in Russian itself
    ["form.save"] = "Сохранить", ["form.cancel"] = "Отмена", ["form.again"] = "Взять запись снова",
    ["form.retry"] = "Попробовать снова", ["form.insert"] = "Создать новую запись с этими значениями",
    ["form.leave"] = "Оставить", ["form.signin"] = "Войти и взять запись снова", ["form.user"] = "Пользователь",
    ["form.password"] = "Пароль", ["form.new"] = "Новая запись", ["form.edit"] = "Изменение",
    ["form.saved"] = "Сохранено.", ["form.deleted"] = "Удалено.",
    ["form.faults"] = "Не сохранено: исправьте отмеченные поля.",
    ["form.changed"] = "Не сохранено: пока вы работали, запись изменили. Где вы ничего не меняли, уже стоит новое " ..
      "значение; где меняли, осталось ваше. Посмотрите и сохраните ещё раз.",
    ["form.retaken"] = "Запись снова за вами. Набранное не пропало: посмотрите и сохраните.",
    ["form.lost"] = "Запись больше не за вами. Ничего не записано, но набранное осталось в полях.",
    ["form.signed_out"] = "Сеанс завершён. Ничего не записано, но набранное осталось в полях.",
    ["form.signin.refused"] = "Имя или пароль не подходят.", ["form.signin.wait"] = "Слишком много попыток: попробуйте позже.",
    ["form.theirs"] = "Сейчас в базе:", ["form.taken_over"] = "Подставлено новое значение; было:",
    ["form.unique"] = "Такое значение уже есть.", ["form.reference"] = "От записи зависит другая.",
    ["form.check"] = "Это значение недопустимо.", ["form.required"] = "Не хватает значения.",
    ["form.busy_now"] = "База данных занята, попробуйте ещё раз.", ["form.who"] = "Кто", ["form.since"] = "С какого времени",
    ["form.self"] = "— это вы, в другом окне или браузере",
    ["form.busy"] = "Подождите, пока запись освободится, или попросите коллегу закончить.",
    ["form.kept"] = "Набранное хранится на этой странице и вернётся вместе с записью.",
    ["form.waiting"] = "Страница возьмёт запись сама, как только та освободится.", ["form.free"] = "Запись свободна…",
    ["form.back"] = "Назад", ["form.delete"] = "Удалить", ["form.ask"] = "Удалить эту запись? Вернуть её будет нельзя.",
    ["form.offline"] = "Нет связи со службой. Набранное остаётся на странице.",
    ["field.required"] = "Заполните это поле.", ["field.long"] = "Слишком длинно.",
    ["field.refused"] = "Такое значение не принимается: уберите теги и код.", ["field.date"] = "Это не дата.",
    ["field.choice"] = "Выберите из списка.", ["field.number"] = "Это не число.",
    ["field.integer"] = "Это не целое число.", ["field.least"] = "Слишком мало.", ["field.most"] = "Слишком много.",
  },
}

local function language_of() return (zu.language():match("^%a+") or ""):lower() end

--- The application's text for a key, or ours.
function host.text(key, values)
  local text = zu.text(key, values)
  if text ~= key then return text end
  local texts = own[language_of()] or own.en
  text = texts[key] or own.en[key] or key
  return values and (text:gsub("%[%[(%w+)%]%]", values)) or text
end

--- What the record blocker says about its last refusal, in the page's language; nil when it refused nothing.
function zu.refusal()
  local why = RecordBlocker:LastError()
  if not why or why.LastErrorCode == 0 then return nil end
  local key = "blocker." .. why.LastErrorCode
  local message = zu.text(key)
  if message == key and language_of() ~= "ru" then message = host.text(key) end
  return { code = why.LastErrorCode, message = message ~= key and message or why.LastErrorMessage,
    detail = why.LastErrorMessage, user = why.UserName, since = why.CreateTime }
end

--- `path?name=value&...`: of a list of {name, value} in its order, of a table by the names; empty values are left out.
function zu.address(path, values)
  local pairs_list = {}
  for key, value in pairs(values or {}) do
    if type(key) == "string" then pairs_list[#pairs_list + 1] = { key, value } end
  end
  table.sort(pairs_list, function(left, right) return left[1] < right[1] end)
  for _, pair in ipairs(values or {}) do pairs_list[#pairs_list + 1] = pair end
  local parts = {}
  for _, pair in ipairs(pairs_list) do
    local value = tostring(pair[2] or "")
    if value ~= "" then parts[#parts + 1] = zu.url_escape(pair[1]) .. "=" .. zu.url_escape(value) end
  end
  if #parts == 0 then return path end
  return path .. (path:find("?", 1, true) and "&" or "?") .. table.concat(parts, "&")
end

-- This very page in another language.
local function in_language(code, path_only)
  local values = {}
  if request.Method ~= "POST" and not path_only then
    for index = 0, request.Params.Count - 1 do
      local name = request.Params.Name[index]
      if name ~= "lang" then values[#values + 1] = { name, request.Params.Value[index] } end
    end
  end
  values[#values + 1] = { "lang", code }
  return zu.address(request.Path, values)
end

-- `path_only`: nothing that was sent stands in a link.
local function frame_values(content, title, path_only)
  local values = { TITLE = zu.raw(title), CONTENT = zu.raw(content) }
  if not request then return values end
  local languages = {}
  for index, code in ipairs(host.languages) do
    local name = zu.text("language.name", nil, code)
    languages[index] = { URL = in_language(code, path_only), CODE = code, TEXT = name ~= "language.name" and name or code,
      CURRENT = zu.raw(code == zu.language() and ' aria-current="true"' or "") }
  end
  values.LANGUAGES = languages
  values.PATH = request.Path
  if not session then return values end
  if session.user == "" then
    local back = request.Method == "POST" and request.Path or in_language("", path_only)
    values.SIGNED_OUT = { URL = zu.address(host.sign_in ~= "" and host.sign_in or "/", { back = back }) }
  else
    values.SIGNED_IN = { USER = session.user }
    values.ADMIN = session.administrator
  end
  local flash = {}
  for index, text in ipairs(session.take_flash()) do flash[index] = { TEXT = text } end
  values.FLASH = flash
  return values
end

--- The whole page around a content, both HTML; `frame` as zu.page takes it.
function host.framed(content, title, frame, path_only)
  if frame == nil then frame = host.frame end
  if type(frame) == "string" then frame = { template = frame } end
  local name = frame and (frame.template or host.frame)
  if not name or name == "" then return content end
  local extra = {}
  for key, value in pairs(frame) do
    if key ~= "template" then extra[key] = value end
  end
  if extra.TITLE then title = tostring(extra.TITLE) end
  return (zu.fill(name, extra, frame_values(content, title, path_only)))
end

function host.write(content, title, frame)
  local text = host.framed(content, title, frame)
  if not response then return text end
  response:Write(text)
end

--- Fills a template from a table and writes it, in the application's frame, as the page.
function zu.page(name, values, frame)
  local content, title = zu.fill(name, values)
  return host.write(content, title, frame)
end

--- Writes HTML as the page, in the frame; `title` is HTML too.
function zu.write(content, title, frame) return host.write(content, title or "", frame) end

-- What the service itself has to say, in the application's frame; false when there is none.
function host.write_fault(title, content)
  if host.frame == "" then return false end
  response:Write(host.framed(content, zu.html_escape(title), nil, true))
  return true
end

--- The results of `action(...)`; nil and {kind=, table=, column=, message=, detail=} when the database refused it.
function db.try(action, ...)
  db.clear_error()
  local results = table.pack(pcall(action, ...))
  if results[1] then return table.unpack(results, 2, results.n) end
  local fault = db.last_error()
  if not fault then error(results[2], 0) end
  fault.message, fault.detail = host.text(fault.kind == "busy" and "form.busy_now" or "form." .. fault.kind), results[2]
  return nil, fault
end

--- Rows as CSV: lists of values, or tables with the names in `columns`, which are written as the first line.
function zu.csv(rows, columns)
  local lines = {}
  local function add(row)
    local cells = {}
    for index = 1, columns and #columns or #row do
      local value = row[index]
      if value == nil and columns then value = row[columns[index]] end
      if value == nil or value == db.null then value = "" end
      value = tostring(value)
      if value:find('[",\r\n]') then value = '"' .. value:gsub('"', '""') .. '"' end
      cells[index] = value
    end
    lines[#lines + 1] = table.concat(cells, ",")
  end
  if columns then add(columns) end
  for _, row in ipairs(rows) do add(row) end
  lines[#lines + 1] = ""
  return table.concat(lines, "\r\n")
end
