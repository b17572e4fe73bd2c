-- obx get: values.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"path", "value"}

local function bare(record) return text.line(record.value) end

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

-- Several parameters, of one moment: bare values in the order of the paths, unless one of them is an object after all.
local function get_parameters(paths, options)
    local values, names = {}, {}
    status.check(nil, ox.each(paths, function(name, value)
        if values[name] == nil then names[#names + 1] = name end
        values[name] = value
    end))
    local found = 0
    for _, path in ipairs(paths) do found = found + (values[path] ~= nil and 1 or 0) end
    local all = found == #paths
    local out = output.open(options, COLUMNS, all and bare or output.assignment)
    for _, name in ipairs(all and paths or names) do out.add{path = name, value = values[name]} end
    out.finish()
end

-- What a selector matches, each entry's values by name.
local function add_matches(selector, out)
    local matches, order = status.check(selector, ox.select(selector))
    local function add(path, value)
        local keys = type(value) == "table" and value ~= ox.null and getmetatable(value) == nil and {}
        if not keys then return out.add{path = path, value = value} end
        for key in pairs(value) do keys[#keys + 1] = key end
        for _, key in ipairs(text.sort(keys)) do add(path .. "." .. key, value[key]) end
    end
    for _, path in ipairs(order) do add(path, matches[path]) end
end

-- Objects, "*" and selectors among the paths: one after the other.
local function get_sets(paths, options)
    local out = output.open(options, COLUMNS, output.assignment)
    local function add(name, value) out.add{path = name, value = value} end
    for _, path in ipairs(paths) do
        if text.is_selector(path) then
            add_matches(path, out)
        else
            status.check(path, ox.each(path, add))
        end
    end
    out.finish()
end

local function run(words, options)
    local sets = false
    for i, word in ipairs(words) do
        words[i] = text.path(word)
        sets = sets or text.is_set(words[i])
    end
    if sets then
        get_sets(words, options)
    elseif #words == 1 then
        get_one(words[1], options)
    else
        get_parameters(words, options)
    end
end

return {
    summary = "values: bare for parameters, PATH=VALUE for objects, * and selectors",
    usage = "PATH...",
    least = 1,
    words = {"path"},
    run = run,
}
