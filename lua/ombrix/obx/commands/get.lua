-- obx get: values.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"path", "value"}

-- The one value of a command line goes out as it is, but not where it could steer a terminal.
local function whole(record)
    local value = text.of(record.value)
    return ox.terminal() and ox.plain(value) or value
end

-- One path: written while the answer comes.
local function get_one(path, options)
    local out
    status.check(path, ox.each(path, function(name, value)
        out = out or output.open(options, COLUMNS, name == path and whole or output.assignment)
        out.add{path = name, value = value}
    end))
    out = out or output.open(options, COLUMNS)
    out.finish()
end

local function run(words, options)
    local sets = false
    for i, word in ipairs(words) do
        words[i] = text.path(word)
        sets = sets or words[i]:find("[*%[{]") or words[i]:sub(-1) == "."
    end
    if sets then
        require("ombrix.obx.get_many").sets(words, options)
    elseif #words == 1 then
        get_one(words[1], options)
    else
        require("ombrix.obx.get_many").parameters(words, options)
    end
end

return {
    summary = "values: bare for parameters, PATH=VALUE for objects, * and selectors",
    usage = "PATH...",
    least = 1,
    words = {"path"},
    run = run,
}
