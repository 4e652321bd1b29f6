-- One word for scripts of open pages, whose question also keeps the session alive: whether this session still has a
-- block, or whether somebody has an order.
local page = require "page"

response.ContentType = "text/plain; charset=utf-8"
local block = page.param("block")
if session.user == "" then
  response:Write("signed-out")
elseif block ~= "" then
  local held = RecordBlocker:GetLockRecord(block) -- unlike CheckRecordAccess it leaves the block's history alone
  response:Write(held and held.SID == Session.SID and "held" or "lost")
else
  response:Write(zu.blocks.holder("Orders", page.param("id")) and "taken" or "free")
end
