-- obx get of more than one parameter.

local output = require "ombrix.obx.output"
local sort = require "ombrix.obx.sort"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local get_many = {}

local COLUMNS = {"path", "value"}

local function bare(record) return text.line(record.value) end

-- Parameters, of one moment: bare values in the order of the paths, unless one of them is an object after all.
function get_many.parameters(paths, options)
    local values, names = {}, {}
    status.check(nil, ox.each(paths, function(name, value)
        if values[name] == nil then names[#names + 1] = name end
        values[name] = value
    end))
    local all = true
    for _, path in ipairs(paths) do all = all and values[path] ~= nil end
    local out = output.open(options, COLUMNS, all and bare or output.assignment)
    for _, name in ipairs(all and paths or names) do out.add{path = name, value = values[name]} end
    out.finish()
end

-- What a selector matches, each entry's values by name.
local function add_matches(selector, out)
    local matches, order = status.check(selector, ox.select(selector))
    local function add(path, value)
        local object = type(value) == "table" and value ~= ox.null and getmetatable(value) == nil
        if not object then return out.add{path = path, value = value} end
        local keys = {}
        for key in pairs(value) do keys[#keys + 1] = key end
        for _, key in ipairs(sort(keys)) do add(path .. "." .. key, value[key]) end
    end
    for _, path in ipairs(order) do add(path, matches[path]) end
end

-- Objects, "*" and selectors among the paths: one after the other.
function get_many.sets(paths, options)
    local out = output.open(options, COLUMNS, output.assignment)
    local function add(name, value) out.add{path = name, value = value} end
    for _, path in ipairs(paths) do
        if path:find("[%[{]") then
            add_matches(path, out)
        else
            status.check(path, ox.each(path, add))
        end
    end
    out.finish()
end

return get_many
