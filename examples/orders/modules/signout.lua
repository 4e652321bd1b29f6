-- Signing out ends the session and gives back all its blocks.
if request.Method == "POST" then session.sign_out() end
response:Redirect("/orders")
