-- obx diff: what applying a file would change.

local config_file = require "ombrix.obx.config_file"
local difference = require "ombrix.obx.difference"
local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"change", "path", "from", "to"}

local diff = {}

-- What a line begins with, and its colour.
local REMOVED, ADDED = {"-", "\27[31m"}, {"+", "\27[32m"}

local function lines_of(record, coloured)
    local lines = {}
    local function add(mark, path, value)
        local line = mark[1] .. path .. (value == nil and "" or "=" .. text.line(value))
        lines[#lines + 1] = coloured and mark[2] .. line .. "\27[0m" or line
    end
    if record.change == "added" then
        add(ADDED, record.path)
    elseif record.change == "removed" then
        add(REMOVED, record.path)
    else
        if record.from ~= nil then add(REMOVED, record.path, record.from) end
        add(ADDED, record.path, record.to)
    end
    return table.concat(lines, "\n")
end

-- Writes the changes in the form that was asked for.
function diff.write(changes, options)
    local _, coloured = ox.terminal()
    local out = output.open(options, COLUMNS, function(record) return lines_of(record, coloured) end)
    for _, change in ipairs(changes) do
        out.add{change = change.change, path = change.name or change.path, from = change.from, to = change.to}
    end
    out.finish()
end

local function begins(path, with) return path:sub(1, #with) == with end

-- What the file says of a part of the model.
local function within(config, path)
    if path:sub(-1) ~= "." then path = path .. "." end
    local entries = {}
    for _, entry in ipairs(config.entries) do
        if begins(entry.path, path) then entries[#entries + 1] = entry end
    end
    local scope = config.scope
    if scope and not begins(scope, path) then scope = begins(path, scope) and path or nil end
    return {scope = scope, entries = entries}
end

function diff.run(words, options)
    local files = options.saved and 0 or 1
    if #words < files or #words > files + 1 then status.usage("usage: obx diff " .. diff.usage) end
    local config = config_file.read(options.saved and require("ombrix.obx.saved").path(options) or words[1])
    local path = words[files + 1]
    if path then config = within(config, text.path(path)) end
    local changes = difference.find(config)
    diff.write(changes, options)
    return #changes == 0 and status.DONE or status.REFUSED
end

diff.summary = "what applying a file would change; 1 where anything would"
diff.usage = "FILE|--saved [PATH]"
diff.options = {{"    --saved", "against what the last obx save has kept"}}
diff.most = 2
diff.words = {"file", "object"}

return diff
