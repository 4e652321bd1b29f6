-- A page with a block is left: its block is given back. Sent by the browser on its way out; nobody reads the answer.
local page = require "page"

if request.Method == "POST" then RecordBlocker:RollBackRecord(page.param("block")) end
response.Status = 204
