session.sign_out()
response:Redirect("/")
