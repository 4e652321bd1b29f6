-- All loans: search, and a page of them.
local per_page = 20
local query = request.Params.Value["q"]
local page = math.max(1, math.tointeger(tonumber(request.Params.Value["page"])) or 1)

local where, values = "", {}
if query ~= "" then
  where = " WHERE SearchText LIKE :Like ESCAPE '\\'"
  values.Like = "%" .. zu.lower(query):gsub("[\\%%_]", "\\%0") .. "%"
end
local count = db.select("SELECT count(*) AS Count FROM Loans" .. where, values)[1].Count
values.Limit, values.Offset = per_page, (page - 1) * per_page
local rows = {}
for index, loan in ipairs(db.select("SELECT ID, What, Reader, Due FROM Loans" .. where ..
    " ORDER BY Due, ID LIMIT :Limit OFFSET :Offset", values)) do
  rows[index] = { ID = loan.ID, WHAT = loan.What, READER = loan.Reader, DUE = zu.date(loan.Due) }
end

local function link(number) return { URL = zu.address("/", { q = query, page = number }) } end
zu.page("list.html", {
  QUERY = query, COUNT = count, LIST = #rows > 0 and { ROW = rows }, NEW = session.may("insert", "Loans"),
  PREVIOUS = page > 1 and link(page - 1), NEXT = page * per_page < count and link(page + 1),
})
