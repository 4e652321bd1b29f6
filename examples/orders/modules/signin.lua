-- Signing in; also from the form of an order whose session was over, with what was typed there.
local demo = require "demo"
local page = require "page"

local kept = page.param("kept") == "order"
local answer
if request.Method == "POST" and not request.FormTokenGood then
  answer = "stale" -- the page with the form lay too long
elseif request.Method == "POST" then
  answer = session.sign_in(page.param("user"), page.param("password"))
  if answer == "ok" and not kept then return response:Redirect(session.back) end
end
if kept and answer then
  local form = require "order_form"
  if answer == "ok" then return form.retake(form.read()) end
  return form.signed_out(form.read(), page.string("signin." .. answer))
end

local view = zu.create("TTemplate")
view.Name = "signin.html"
view.Tag["TOKEN"] = request.FormToken
view.Tag["BACK"] = zu.html_escape(session.back)
view.Tag["USER"] = zu.html_escape(page.param("user"))
if answer then
  response.Status = 403
  local wrong = view.Part["WRONG"]
  wrong.Tag["TEXT"] = page.string("signin." .. answer)
  view.Tag["WRONG"] = wrong:BuildTemplate()
  view.Tag["INVALID"] = ' aria-invalid="true" aria-describedby="signin-wrong"'
end
if demo.enabled then
  local part, rows = view.Part["DEMO"], {}
  local row = part.Part["ROW"]
  for _, user in ipairs(demo.users) do
    row.Tag["NAME"] = zu.html_escape(user.name)
    row.Tag["PASSWORD"] = zu.html_escape(user.password)
    row.Tag["ABOUT"] = page.string(user.about)
    rows[#rows + 1] = row:BuildTemplate()
  end
  part.Tag["ROWS"] = table.concat(rows)
  view.Tag["DEMO"] = part:BuildTemplate()
end
page.write(page.string("signin.title"), view:BuildTemplate(), "/signin", { { "back", session.back } })
