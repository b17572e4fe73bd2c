-- obx del: rows.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"path"}

-- What stands before the first failure is gone, and is told.
local function fail(deleted, path, message, code, data)
    local reason = status.reason(path, message, data)
    if #deleted == 0 then status.stop(status.of(code), nil, reason) end
    status.stop(status.PARTLY, nil, ("%s; deleted before: %s"):format(reason, table.concat(deleted, " ")))
end

local function run(words, options)
    local deleted = {}
    for _, word in ipairs(words) do
        local path = text.path(word)
        local done, message, code, data = ox.del(path)
        if not done then fail(deleted, path, message, code, data) end
        deleted[#deleted + 1] = path
    end
    local out = output.open(options, COLUMNS, options.verbose and function(record) return record.path end or nil)
    for _, path in ipairs(deleted) do out.add{path = path} end
    out.finish()
end

return {
    summary = "deletes rows",
    usage = "PATH...",
    options = {{"-v, --verbose", "tells what was deleted"}},
    least = 1,
    words = {"row"},
    run = run,
}
