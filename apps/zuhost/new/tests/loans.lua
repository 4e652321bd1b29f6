-- Run with `zuhost test .`: each file has a database of its own, each test a browser of its own.
test("visitors sign in first", function(client)
  local page = client:get("/")
  check.equal(page.redirects[1], "/signin?back=%2F")
  check.equal(page.form:submit { user = "anna", password = "wrong-password" }.status, 403)
end)

test("a loan is made, found, changed and deleted", function(client)
  client:sign_in("anna", "demo-anna")
  local page = client:get("/loan").form:submit { what = "Tom & Jerry", reader = "Lee", due = "2026-13-01", action = "save" }
  check.equal(page.status, 422)
  check.has(page.plain, "This is no date.")
  page = page.form:submit { due = "2026-12-31", action = "save" }
  check.has(page.plain, "Saved.")
  check.has(client:get("/", { q = "JERRY" }).plain, "Tom & Jerry")
  check.lacks(client:get("/", { q = "%" }).plain, "Tom")

  local id = db.select("SELECT ID FROM Loans")[1].ID
  client:get("/loan", { id = id }).form:submit { reader = "Ann", action = "save" }
  check.equal(db.select("SELECT Reader FROM Loans")[1].Reader, "Ann")
  client:get("/loan/delete", { id = id }).form:submit { action = "delete" }
  check.equal(#db.select("SELECT ID FROM Loans"), 0)
end)

test("one at a time", function(client)
  db.exec("INSERT INTO Loans (What, Reader, Due, State, SearchText) VALUES ('Map', 'Lee', '2026-12-31', 'out', 'map')")
  local id = db.select("SELECT ID FROM Loans")[1].ID
  client:sign_in("anna", "demo-anna")
  local mine = client:get("/loan", { id = id })
  local other = new_client()
  other:sign_in("admin", "demo-admin")
  check.has(other:get("/loan", { id = id }).plain, "is being edited in another session")
  check.equal(mine.form:submit { reader = "Ann", action = "save" }.status, 200)
  check.equal(other:get("/loan", { id = id }).form.fields.reader, "Ann")
end)

test("readers look only", function(client)
  client:sign_in("vera", "demo-vera")
  check.equal(client:get("/").status, 200)
  check.equal(client:get("/loan").status, 403)
  check.equal(client:get("/loan/delete", { id = 1 }).status, 403)
end)
