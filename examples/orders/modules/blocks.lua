-- The administration of record blocks: who has what since when; taking one away.
local page = require "page"

local rows_per_page = 20
local view = zu.create("TTemplate")
view.Name = "blocks.html"

if request.Method == "POST" then
  local notice = view.Part["NOTICE"]
  notice.Tag["TEXT"] = page.string(zu.blocks.release(page.param("block")) and "blocks.released" or "blocks.gone")
  view.Tag["NOTICE"] = notice:BuildTemplate()
end

local after = page.param("after")
local blocks = zu.blocks.list { after = after, limit = rows_per_page + 1 }
if #blocks == 0 then
  view.Tag["LIST"] = view.Part["EMPTY"]:BuildTemplate()
else
  local list, rows = view.Part["LIST"], {}
  local row = list.Part["ROW"]
  for index = 1, math.min(#blocks, rows_per_page) do
    local block = blocks[index]
    row:Clear()
    row.Tag["USER"] = zu.html_escape(block.user)
    row.Tag["ACTION"] = page.string("blocks.action." .. block.action:lower())
    row.Tag["TABLE"] = zu.html_escape(block.table)
    row.Tag["RECORD"] = zu.html_escape(block.record)
    row.Tag["SINCE"] = page.moment(block.since)
    row.Tag["HISTORY"] = zu.html_escape(table.concat(block.history, "\n"))
    row.Tag["COUNT"] = #block.history
    row.Tag["TOKEN"] = request.FormToken
    row.Tag["ID"] = block.id
    row.Tag["AFTER"] = zu.html_escape(after)
    rows[#rows + 1] = row:BuildTemplate()
  end
  list.Tag["ROWS"] = table.concat(rows)
  if #blocks > rows_per_page then
    local more = list.Part["MORE"]
    more.Tag["URL"] = page.url("/admin/blocks", { { "after", blocks[rows_per_page].id } })
    list.Tag["MORE"] = more:BuildTemplate()
  end
  view.Tag["LIST"] = list:BuildTemplate()
end
if after ~= "" then view.Tag["FIRST"] = view.Part["FIRST"]:BuildTemplate() end
page.write(page.string("blocks.title"), view:BuildTemplate(), "/admin/blocks", { { "after", after } })
