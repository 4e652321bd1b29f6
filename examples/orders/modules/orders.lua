-- The order list: search, sorting and paging, filled from the database into list.html.
local demo = require "demo"
local page = require "page"

local rows_per_page = 20
local most = 10000 -- orders that are counted and paged; beyond it a search leads on

if session.user == "" and not demo.visitors then return response:Redirect("/signin?back=/orders") end

-- What may be sorted, by the name in the address; nothing else ever reaches the statement.
local columns = {
  { name = "number", sql = page.order_number },
  { name = "date", sql = "o.OrderDate" },
  { name = "customer", sql = "{customer}" },
  { name = "city", sql = "{city}" },
  { name = "items" },
  { name = "status", sql = "o.Status" },
  { name = "total", sql = "o.Total" },
}
local sortable = {}
for _, column in ipairs(columns) do if column.sql then sortable[column.name] = column.sql end end

-- Data are kept in both languages; a language's columns end in its code.
local suffix = request.Language == "en" and "En" or "Ru"
local function localised(sql)
  return (sql:gsub("{customer}", "o.Customer" .. suffix):gsub("{city}", "o.City" .. suffix))
end

local query = page.param("q")
page.expect(#query <= 1000, "q")
local sort = sortable[page.param("sort")] and page.param("sort") or "date"
local direction = page.param("dir") == "asc" and "asc" or page.param("dir") == "desc" and "desc" or
  (sort == "date" and "desc" or "asc")

-- "%" and "_" in what the user typed are ordinary characters.
local function pattern(text)
  return "%" .. zu.lower(text):gsub("[\\%%_]", "\\%0") .. "%"
end

local from = " FROM Orders o" .. page.order_document
local where, values = "", {}
if query ~= "" then
  where = " WHERE (o.SearchText LIKE :Pattern ESCAPE '\\' OR lower(d.NumberText) LIKE :Pattern ESCAPE '\\')"
  values.Pattern = pattern(query)
end

-- Counted no further than pages lead, and without the documents' table where nothing is sought in it.
values.Most = most + 1
local count = db.select("SELECT count(*) AS Count FROM (SELECT 1 AS One" .. (query == "" and " FROM Orders o" or from) ..
  where .. " LIMIT :Most) Found", values)[1].Count
values.Most = nil
local more = count > most
count = math.min(count, most)
local pages = math.max(1, (count + rows_per_page - 1) // rows_per_page)
local current = page.number("page", 1, 1, pages)

local list = zu.create("TTemplate")
list.Name = "list.html"
local texts = list.Part["TEXTS"]

local function address(changes)
  local pairs_list = {
    { "q", changes.q or query }, { "sort", changes.sort or sort }, { "dir", changes.dir or direction },
    { "page", changes.page },
  }
  return page.url("/orders", pairs_list)
end

local function header(result)
  local link, plain, cells = result.Part["COLUMN"], result.Part["PLAIN"], {}
  for _, column in ipairs(columns) do
    local cell = column.sql and link or plain
    cell:Clear()
    cell.Tag["CLASS"] = column.name
    cell.Tag["TEXT"] = page.text(texts, "COLUMN_" .. column.name:upper())
    if column.sql then
      local turned = column.name == sort and direction == "asc" and "desc" or "asc"
      cell.Tag["URL"] = address { sort = column.name, dir = turned }
      if column.name == sort then
        cell.Tag["MARK"] = direction == "asc" and " ▲" or " ▼"
        cell.Tag["ARIA"] = direction == "asc" and ' aria-sort="ascending"' or ' aria-sort="descending"'
      end
    end
    cells[#cells + 1] = cell:BuildTemplate()
  end
  return table.concat(cells)
end

-- The lines of all orders on the page in one statement, by order.
local function items_of(orders)
  if #orders == 0 then return {} end
  local ids = {}
  for index, order in ipairs(orders) do ids[index] = string.format("%d", order.ID) end
  local by_order = {}
  for _, line in ipairs(db.select("SELECT OrderID, Product" .. suffix .. " AS Product, Quantity FROM OrderLines " ..
      "WHERE OrderID IN (" .. table.concat(ids, ",") .. ") ORDER BY OrderID, LineNumber", {})) do
    local lines = by_order[line.OrderID] or {}
    lines[#lines + 1] = line
    by_order[line.OrderID] = lines
  end
  return by_order
end

local function body(result, orders)
  local row, rows, items = result.Part["ROW"], {}, items_of(orders)
  local item = row.Part["ITEM"]
  for _, order in ipairs(orders) do
    row:Clear()
    local lines = {}
    for _, line in ipairs(items[order.ID] or {}) do
      item.Tag["PRODUCT"] = zu.html_escape(line.Product)
      item.Tag["QUANTITY"] = line.Quantity
      lines[#lines + 1] = item:BuildTemplate()
    end
    row.Tag["ITEMS"] = table.concat(lines)
    row.Tag["ID"] = order.ID
    row.Tag["NUMBER"] = zu.html_escape(order.Number)
    row.Tag["DATE"] = page.date(order.OrderDate)
    row.Tag["CUSTOMER"] = zu.html_escape(order.Customer)
    row.Tag["CITY"] = zu.html_escape(order.City)
    row.Tag["STATUS"] = order.Status
    row.Tag["STATUSTEXT"] = page.text(texts, "STATUS_" .. order.Status:upper())
    row.Tag["TOTAL"] = page.money(order.Total)
    rows[#rows + 1] = row:BuildTemplate()
  end
  return table.concat(rows)
end

-- First, last and the neighbours of the current page; gaps between.
local function pager(result)
  if pages == 1 then return "" end
  local part = result.Part["PAGER"]
  local link, here, gap, out = part.Part["LINK"], part.Part["CURRENT"], part.Part["GAP"]:BuildTemplate(), {}
  local function add_link(number, text, rel)
    link:Clear()
    link.Tag["URL"] = address { page = number }
    link.Tag["TEXT"] = text
    if rel then link.Tag["REL"] = ' rel="' .. rel .. '"' end
    out[#out + 1] = link:BuildTemplate()
  end
  if current > 1 then add_link(current - 1, "← " .. page.text(texts, "PREVIOUS"), "prev") end
  local last_shown = 0
  for number = 1, pages do
    if number == 1 or number == pages or math.abs(number - current) <= 2 then
      if number > last_shown + 1 then out[#out + 1] = gap end
      last_shown = number
      if number == current then
        here.Tag["TEXT"] = number
        out[#out + 1] = here:BuildTemplate()
      else
        add_link(number, number)
      end
    end
  end
  if current < pages then add_link(current + 1, page.text(texts, "NEXT") .. " →", "next") end
  part.Tag["PAGES"] = table.concat(out)
  return part:BuildTemplate()
end

list.Tag["QUERY"] = zu.html_escape(query)
list.Tag["SORT"] = sort
list.Tag["DIR"] = direction
if query ~= "" then
  local reset = list.Part["RESET"]
  reset.Tag["URL"] = page.url("/orders", { { "sort", sort }, { "dir", direction } })
  list.Tag["RESET"] = reset:BuildTemplate()
end

if session.user ~= "" then list.Tag["NEW"] = list.Part["NEW"]:BuildTemplate() end
if page.param("done") == "deleted" then list.Tag["DONE"] = list.Part["DONE"]:BuildTemplate() end

if count == 0 then
  list.Tag["RESULT"] = list.Part["EMPTY"]:BuildTemplate()
else
  local offset = (current - 1) * rows_per_page
  values.Limit, values.Offset = rows_per_page, offset
  local orders = db.select(localised("SELECT o.ID, " .. page.order_number .. " AS Number, o.OrderDate, " ..
    "{customer} AS Customer, {city} AS City, " ..
    "o.Status, o.Total" .. from .. where .. " ORDER BY " .. sortable[sort]) .. " " .. direction ..
    ", o.ID " .. direction .. " LIMIT :Limit OFFSET :Offset", values)
  -- What a profile does not let its user view is neither shown nor counted.
  local seen = {}
  for _, order in ipairs(orders) do
    if page.may_view(order.ID) then seen[#seen + 1] = order end
  end
  if #seen < #orders then count, more = #seen, false end
  orders = seen
  local result = list.Part["RESULT"]
  result.Tag["COUNT"] = more and count .. "+" or count
  result.Tag["FIRST"] = offset + 1
  result.Tag["LAST"] = offset + #orders
  result.Tag["COLUMNS"] = header(result)
  result.Tag["ROWS"] = body(result, orders)
  result.Tag["PAGER"] = pager(result)
  list.Tag["RESULT"] = result:BuildTemplate()
end

page.write(page.text(texts, "TITLE"), list:BuildTemplate(), "/orders",
  { { "q", query }, { "sort", sort }, { "dir", direction }, { "page", current } })
