-- Run once when the service starts: makes the tables and seeds them when they are new. The seed is the same every
-- time, so that tests and pictures can rely on it.

local demo = require "demo"

-- The tables of an earlier edition, which nobody could change, are made anew.
if db.select("SELECT count(*) AS Count FROM sqlite_master WHERE name = 'Orders' AND sql NOT LIKE '%AUTOINCREMENT%'")[1]
    .Count > 0 then
  db.exec("DROP TABLE OrderLines")
  db.exec("DROP TABLE Orders")
end

-- An order without a number is known by the number of its document. IDs do not come back: documents name them.
db.exec([[CREATE TABLE IF NOT EXISTS Orders (
  ID INTEGER PRIMARY KEY AUTOINCREMENT,
  Number VARCHAR(20) UNIQUE,
  OrderDate VARCHAR(10) NOT NULL,
  CustomerRu VARCHAR(100) NOT NULL,
  CustomerEn VARCHAR(100) NOT NULL,
  CityRu VARCHAR(60) NOT NULL,
  CityEn VARCHAR(60) NOT NULL,
  Status VARCHAR(20) NOT NULL,
  Total BIGINT NOT NULL,
  Note VARCHAR(500) DEFAULT '' NOT NULL,
  SearchText TEXT NOT NULL
)]])
db.exec([[CREATE TABLE IF NOT EXISTS OrderLines (
  OrderID INTEGER NOT NULL REFERENCES Orders (ID) ON DELETE CASCADE,
  LineNumber INTEGER NOT NULL,
  ProductRu VARCHAR(100) NOT NULL,
  ProductEn VARCHAR(100) NOT NULL,
  Quantity INTEGER NOT NULL,
  Price BIGINT NOT NULL,
  PRIMARY KEY (OrderID, LineNumber)
)]])

db.exec("INSERT INTO ZuDocumentKinds (TableName, Kind, NumberPrefix) SELECT 'Orders', 'order', 'ORD-' " ..
  "WHERE NOT EXISTS (SELECT 1 FROM ZuDocumentKinds WHERE TableName = 'Orders')")

if demo.enabled and SetupUsers.Count == 0 then
  for _, line in ipairs(demo.rights) do SetupUsers:Grant(table.unpack(line)) end
  for _, user in ipairs(demo.users) do
    SetupUsers:Add(user.name, user.password, user.profile or "", user.administrator or false)
    if user.city then SetupUsers:SetAttribute(user.name, "City", user.city) end
  end
end

if db.select("SELECT count(*) AS Count FROM Orders")[1].Count > 0 then return end

local customers = {
  { "ООО «Северный ветер»", "North Wind LLC" }, { "ИП Соколова А. В.", "A. V. Sokolova" },
  { "АО «Заря»", "Zarya JSC" }, { "ООО «Ромашка и Ко»", "Romashka & Co LLC" },
  { "Детский сад № 17", "Kindergarten No. 17" }, { "ООО «Ёлки-Палки»", "Yolki-Palki LLC" },
  { "Фермерское хозяйство «Луг»", "Lug Farm" }, { "ИП Петров И. И.", "I. I. Petrov" },
  { "ООО «Технологии <будущего>»", "Technologies <of Tomorrow> LLC" }, { "Библиотека им. Чехова", "Chekhov Library" },
  { "ООО «Мебель & Уют»", "Furniture & Comfort LLC" }, { "АО «Волжский кабель»", "Volga Cable JSC" },
}
local cities = require "cities"
local products = { -- price in kopecks
  { "Кабель сетевой, 10 м", "Network cable, 10 m", 45000 }, { "Лампа настольная", "Desk lamp", 189900 },
  { "Стул офисный", "Office chair", 654000 }, { "Бумага А4, 500 л.", "A4 paper, 500 sheets", 38950 },
  { "Клавиатура", "Keyboard", 149000 }, { "Монитор 27\"", "Monitor 27\"", 2149000 },
  { "Чай чёрный, 100 пак.", "Black tea, 100 bags", 41250 }, { "Стеллаж", "Shelf rack", 1120000 },
  { "Маркер перманентный", "Permanent marker", 8990 }, { "Сервер стоечный 2U", "Rack server 2U", 28900000 },
}
local statuses = { "new", "paid", "shipped", "closed", "closed", "cancelled" }

-- A small generator of our own: the same numbers on every machine.
local state = 20240301
local function random(limit)
  state = (state * 1103515245 + 12345) % 2147483648
  return (state >> 8) % limit + 1
end

local months = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 }
local function date_of(day) -- day 0 is 2025-01-01
  local year, month = 2025, 1
  day = day + 1
  while day > months[month] do
    day, month = day - months[month], month + 1
    if month > 12 then year, month = year + 1, 1 end
  end
  return string.format("%04d-%02d-%02d", year, month, day)
end

db.transaction(function()
  for id = 1, 240 do
    local customer, city = customers[random(#customers)], cities[random(#cities)]
    local number = string.format("ZT-%05d", 10000 + id * 7)
    local words, total, lines = { number, customer[1], customer[2], city[1], city[2] }, 0, {}
    local first = random(#products)
    for line = 1, random(4) do
      local product = products[(first + line * 3) % #products + 1]
      local quantity = random(12)
      total = total + product[3] * quantity
      words[#words + 1], words[#words + 2] = product[1], product[2]
      lines[line] = { OrderID = id, LineNumber = line, ProductRu = product[1], ProductEn = product[2],
        Quantity = quantity, Price = product[3] }
    end
    db.exec([[INSERT INTO Orders (ID, Number, OrderDate, CustomerRu, CustomerEn, CityRu, CityEn, Status, Total, SearchText)
      VALUES (:ID, :Number, :OrderDate, :CustomerRu, :CustomerEn, :CityRu, :CityEn, :Status, :Total, :SearchText)]],
      { ID = id, Number = number, OrderDate = date_of(id * 5 // 3), CustomerRu = customer[1], CustomerEn = customer[2],
        CityRu = city[1], CityEn = city[2], Status = statuses[random(#statuses)], Total = total,
        SearchText = zu.lower(table.concat(words, "\n")) })
    for _, line in ipairs(lines) do
      db.exec([[INSERT INTO OrderLines (OrderID, LineNumber, ProductRu, ProductEn, Quantity, Price)
        VALUES (:OrderID, :LineNumber, :ProductRu, :ProductEn, :Quantity, :Price)]], line)
    end
  end
end)
