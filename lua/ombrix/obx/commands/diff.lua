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

local function within(config, path)
    if not path then return config end
    if path:sub(-1) ~= "." then path = path .. "." end
    local entries = {}
    for _, entry in ipairs(config.entries) do
        if entry.path:sub(1, #path) == path then entries[#entries + 1] = entry end
    end
    local scope = config.scope and (config.scope:sub(1, #path) == path and config.scope or path)
    return {scope = scope, entries = entries}
end

function diff.run(words, options)
    if options.saved == (words[1] ~= nil and #words == 2) or not options.saved and not words[1] then
        status.usage("usage: obx diff FILE|--saved [PATH]")
    end
    local name = options.saved and require("ombrix.obx.saved").path() or table.remove(words, 1)
    local config = within(config_file.read(name), words[1] and text.path(words[1]))
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
