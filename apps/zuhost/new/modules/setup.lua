-- The first users and what they may do, in a database without any. Change the passwords: `zuhost users`.
if SetupUsers.Count > 0 then return end
for _, right in ipairs { "view", "edit", "delete", "insert" } do SetupUsers:Grant("Staff", "Loans", right, "") end
SetupUsers:Grant("Readers", "Loans", "view", "")
SetupUsers:Add("admin", "demo-admin", "", true)
SetupUsers:Add("anna", "demo-anna", "Staff", false)
SetupUsers:Add("vera", "demo-vera", "Readers", false)
