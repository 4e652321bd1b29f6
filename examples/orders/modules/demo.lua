-- Demo users, whose passwords everybody may read here and on the sign-in page. setup.lua makes them in a database
-- without users. For an application of your own set `enabled` to false before the first start; later remove them:
-- `zuhost users --config orders.toml remove NAME`, after `... add YOURSELF --administrator`.
return {
  enabled = true,
  -- Whoever is not signed in sees all orders. Users see those that their profiles let them view, whatever this says.
  visitors = true,
  -- Editors take the orders of the city that their attribute City names; readers have no right to change anything.
  users = {
    { name = "admin", password = "demo-admin", administrator = true, about = "demo.admin" },
    { name = "anna", password = "demo-anna", profile = "Editors", city = "Москва", about = "demo.moscow" },
    { name = "mark", password = "demo-mark", profile = "Editors", city = "Москва", about = "demo.moscow" },
    { name = "boris", password = "demo-boris", profile = "Editors", city = "Санкт-Петербург", about = "demo.petersburg" },
    { name = "vera", password = "demo-vera", profile = "Readers", about = "demo.reader" },
  },
  rights = {
    { "Readers", "Orders", "view", "" },
    { "Editors", "Orders", "view", "" },
    { "Editors", "Orders", "edit", "CityRu = :City" },
    { "Editors", "Orders", "delete", "CityRu = :City" },
    { "Editors", "Orders", "insert", "CityRu = :City" },
  },
}
