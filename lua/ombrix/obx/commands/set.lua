-- obx set: values, all or none.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"path", "value"}

local function run(words, options)
    local list = {}
    for i, word in ipairs(words) do
        local path, value = text.assignment(word)
        if not path or path == "" then status.usage(word .. ": PATH=VALUE expected") end
        list[i] = {Name = path, Value = value}
    end
    local assign = require "ombrix.obx.assign"
    assign.values(list, options["dry-run"])
    local out = output.open(options, COLUMNS, options.verbose and output.assignment or nil)
    for _, entry in ipairs(list) do out.add{path = entry.Name, value = entry.Value} end
    out.finish()
end

return {
    summary = "sets values, all of them or none; the daemon converts the texts",
    usage = "PATH=VALUE...",
    options = {
        {"    --dry-run", "everything is checked, nothing is changed"},
        {"-v, --verbose", "tells what was set"},
    },
    least = 1,
    words = {"assignment"},
    run = run,
}
