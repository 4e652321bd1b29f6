-- The helper process of the order list: makes a document of an order, in a process of its own so that a page never has
-- to wait for it longer than it wants. `zuhost serve` starts it (orders.toml, [[helper]]); by hand it is
--     zuhost pipe-serve orders-document --script helper.lua
--
-- A request has a line "key<TAB>value" for each fact and "line<TAB>..." for each item, the cells parted by tabs; the
-- answer is a document in HTML, for the browser to show and to print.

local marks = { ["&"] = "&amp;", ["<"] = "&lt;", [">"] = "&gt;", ['"'] = "&quot;" }

local function element(name, text)
  return "<" .. name .. ">" .. text:gsub('[&<>"]', marks) .. "</" .. name .. ">"
end

local function row(name, cells)
  local result = {}
  for index, cell in ipairs(cells) do result[index] = element(name, cell) end
  return "<tr>" .. table.concat(result) .. "</tr>\n"
end

return function(request)
  local facts = { title = "", language = "" }
  local list, head, lines, total = {}, "", {}, ""
  for text in request:gmatch("[^\n]+") do
    local cells = {}
    for cell in (text .. "\t"):gmatch("([^\t]*)\t") do cells[#cells + 1] = cell end
    local kind = table.remove(cells, 1)
    if kind == "fact" then
      list[#list + 1] = element("dt", cells[1]) .. element("dd", cells[2])
    elseif kind == "head" then
      head = row("th", cells)
    elseif kind == "line" then
      lines[#lines + 1] = row("td", cells)
    elseif kind == "total" then
      total = row("th", { cells[1], "", "", cells[2] })
    else
      facts[kind] = cells[1]
    end
  end
  return '<!DOCTYPE html>\n<html lang="' .. facts.language:gsub('[&<>"]', marks) .. '"><head><meta charset="utf-8">' ..
    element("title", facts.title) .. '<link rel="stylesheet" href="/static/document.css"></head>\n<body>' ..
    element("h1", facts.title) .. "\n<dl>" .. table.concat(list) .. "</dl>\n<table>\n<thead>" .. head ..
    "</thead>\n<tbody>" .. table.concat(lines) .. "</tbody>\n<tfoot>" .. total .. "</tfoot>\n</table></body></html>\n"
end
