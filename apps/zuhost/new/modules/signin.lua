local answer
if request.Method == "POST" then
  answer = session.sign_in(request.Params.Value["user"], request.Params.Value["password"])
  if answer == "ok" then return response:Redirect(session.back) end
  response.Status = 403
end
zu.page("signin.html", { BACK = session.back, USER = request.Params.Value["user"],
  WRONG = answer and { TEXT = zu.text("signin." .. answer) } })
