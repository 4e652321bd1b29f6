-- What test files of `zuhost test` can use: test, check and client.
local tests = {}

--- One test: a function that gets a client, like a browser that nobody has used yet.
function test(name, body) tests[#tests + 1] = { name = name, body = body } end

check = {}

local function fail(message, default) error(message or default, 3) end

function check.that(condition, message)
  if not condition then fail(message, "the condition does not hold") end
end

function check.equal(found, wanted, message)
  if found ~= wanted then
    fail((message and message .. ": " or "") .. "found " .. tostring(found) .. ", wanted " .. tostring(wanted))
  end
end

--- The text holds the part.
function check.has(text, part, message)
  if not tostring(text):find(part, 1, true) then
    fail((message and message .. ": " or "") .. "\"" .. part .. "\" is not in: " .. tostring(text):sub(1, 2000))
  end
end

function check.lacks(text, part, message)
  if tostring(text):find(part, 1, true) then fail((message or "there is") .. ": \"" .. part .. "\"") end
end

local references = { lt = "<", gt = ">", quot = "\"", amp = "&", nbsp = "\u{A0}" }
local function unescape(text)
  return (text:gsub("&(#?%w+);", function(name)
    local number = name:match("^#(%d+)$")
    return references[name] or number and utf8.char(math.tointeger(number)) or nil
  end))
end

local function attribute(tag, name)
  local value = tag:match("%s" .. name .. '="([^"]*)"')
  return value and unescape(value) or nil
end

local Form = {}
Form.__index = Form

--- Sends the form with these values in place of its own; `action`, a button's value, goes with them.
function Form:submit(values)
  local sent, taken = {}, {}
  for _, entry in ipairs(self.entries) do
    local value = entry.value
    if values and values[entry.name] ~= nil then value, taken[entry.name] = values[entry.name], true end
    sent[#sent + 1] = { entry.name, value }
  end
  for name, value in pairs(values or {}) do
    if not taken[name] then sent[#sent + 1] = { name, value } end
  end
  local parts = {}
  for index, pair in ipairs(sent) do parts[index] = zu.url_escape(pair[1]) .. "=" .. zu.url_escape(tostring(pair[2])) end
  local text = table.concat(parts, "&")
  if self.method == "post" then return self.client:request("POST", self.action, text) end
  return self.client:request("GET", self.action:gsub("%?.*", "") .. "?" .. text)
end

local Answer = {}

local answers = {}
function answers.forms(answer)
  local forms, document = {}, nil
  for tag in answer.text:gmatch("<form([^>]*)>") do
    document = document or zu.html(answer.text)
    local form = setmetatable({ client = answer.client, id = attribute(tag, "id"), fields = {},
      method = (attribute(tag, "method") or "get"):lower(), action = attribute(tag, "action") or answer.path }, Form)
    form.entries = zu.automation.form_entries(document, #forms)
    for _, entry in ipairs(form.entries) do form.fields[entry.name] = entry.value end
    forms[#forms + 1] = form
    if form.id then forms[form.id] = form end
  end
  return forms
end
--- The form of the page's own: the last one, since the frame's stand before it.
function answers.form(answer) return answer.forms[#answer.forms] end
function answers.title(answer) return unescape(answer.text:match("<title>(.-)</title>") or "") end
--- What a person reads.
function answers.plain(answer)
  local text = answer.text:gsub("<script.-</script>", ""):gsub("<[^>]*>", " "):gsub("%s+", " ")
  return unescape(text)
end

function Answer.__index(answer, name)
  local make = answers[name]
  if not make then return nil end
  local value = make(answer)
  rawset(answer, name, value)
  return value
end

local Client = {}
Client.__index = Client

function new_client() return setmetatable({ language = "en" }, Client) end

--- Asks and follows up to five redirections, as browsers do.
function Client:request(method, target, form, headers)
  local redirects = {}
  for _ = 1, 6 do
    local lines = { "Accept-Language: " .. self.language }
    if self.cookie then lines[#lines + 1] = "Cookie: " .. self.cookie end
    if self.referer then lines[#lines + 1] = "Referer: http://test" .. self.referer end
    for name, value in pairs(headers or {}) do lines[#lines + 1] = name .. ": " .. value end
    service:Ask(method, target, form or "", table.concat(lines, "\n"))
    local answer = setmetatable({ client = self, status = service.Status, text = service.Body, type = service.ContentType,
      path = target, redirects = redirects, headers = {} }, Answer)
    for name, value in service.Headers:gmatch("([^:\n]+): ([^\n]*)") do answer.headers[name:lower()] = value end
    self.cookie = (answer.headers["set-cookie"] or ""):match("^[^;]+") or self.cookie
    if answer.status ~= 303 or self.stay then
      if answer.type:find("html", 1, true) then self.referer = target end
      return answer
    end
    target, method, form, headers = answer.headers.location, "GET", nil, nil
    redirects[#redirects + 1] = target
  end
  error("more than five redirections, the last to " .. target, 2)
end

function Client:get(target, values) return self:request("GET", zu.address(target, values)) end

--- A form that no page had: without a token unless the values have one.
function Client:post(target, values)
  return self:request("POST", target, (zu.address("", values):gsub("^%?", "")))
end

function Client:post_json(target, value, headers)
  headers = headers or {}
  headers["Content-Type"] = "application/json"
  return self:request("POST", target, zu.json(value), headers)
end

--- Signs in on the configured page, whose form has the fields user and password.
function Client:sign_in(user, password)
  local page = self:get(service.SignInPath)
  local answer = page.form:submit { user = user, password = password }
  if answer.status ~= 200 then error("signing in as " .. user .. " was answered " .. answer.status, 2) end
  return answer
end

function run_tests(only)
  local failed = 0
  for _, each in ipairs(tests) do
    if each.name:find(only, 1, true) then
      local good, why = xpcall(each.body, function(message)
        return debug.traceback(tostring(message), 2):gsub("\n[^\n]*%[C%][^\n]*", ""):gsub("\n[^\n]*zu/testing%.lua[^\n]*", "")
      end, new_client())
      print((good and "  ok      " or "  FAILED  ") .. each.name)
      if not good then
        failed = failed + 1
        print("    " .. tostring(why):gsub("\n", "\n    "))
      end
    end
  end
  service.Failed = failed
end
