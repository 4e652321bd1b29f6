-- The administration of record blocks: who has what since when; taking one away.
local page = require "page"

local rows_per_page = 20
local notice
if request.Method == "POST" then
  notice = { TEXT = zu.text(zu.blocks.release(page.param("block")) and "blocks.released" or "blocks.gone") }
end

local after = page.param("after")
local blocks, rows = zu.blocks.list { after = after, limit = rows_per_page + 1 }, {}
for index = 1, math.min(#blocks, rows_per_page) do
  local block = blocks[index]
  rows[index] = { USER = block.user, ACTION = zu.text("blocks.action." .. block.action:lower()), TABLE = block.table,
    RECORD = block.record, SINCE = page.moment(block.since), HISTORY = table.concat(block.history, "\n"),
    COUNT = #block.history, ID = block.id, AFTER = after }
end
local more = #blocks > rows_per_page and { URL = zu.address("/admin/blocks", { after = blocks[rows_per_page].id }) }
zu.page("blocks.html", { NOTICE = notice, FIRST = after ~= "", EMPTY = #rows == 0, LIST = #rows > 0 and { ROW = rows, MORE = more } })
