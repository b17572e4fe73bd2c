-- Conditions on a value: 'PATH OP VALUE'.

local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local condition = {}

local TRUTH = {["true"] = true, ["1"] = true, ["false"] = false, ["0"] = false}

-- Both sides as what they can be compared as: numbers, truths, or texts.
local function sides(value, wanted)
    if type(value) == "boolean" and TRUTH[wanted:lower()] ~= nil then return value, TRUTH[wanted:lower()] end
    local one, other = tonumber(value), tonumber(wanted)
    if type(value) ~= "boolean" and one and other then return one, other end
    return text.of(value), wanted
end

local OPERATORS = {
    ["=="] = function(a, b) return a == b end,
    ["!="] = function(a, b) return a ~= b end,
    ["<"] = function(a, b) return type(a) == type(b) and type(a) ~= "boolean" and a < b end,
    ["<="] = function(a, b) return type(a) == type(b) and type(a) ~= "boolean" and a <= b end,
    [">"] = function(a, b) return type(a) == type(b) and type(a) ~= "boolean" and a > b end,
    [">="] = function(a, b) return type(a) == type(b) and type(a) ~= "boolean" and a >= b end,
}
OPERATORS["="] = OPERATORS["=="]

-- The path, and a function of its value.
function condition.read(line)
    local path, operator, wanted = line:match("^%s*([^%s=!<>~]+)%s*([=!<>~]+)%s*(.-)%s*$")
    if not path then status.usage(line .. ": PATH OP VALUE expected, OP one of == != < <= > >= ~") end
    wanted = wanted:match('^"(.*)"$') or wanted:match("^'(.*)'$") or wanted
    if operator == "~" or operator == "~=" then
        local matches, reason = ox.regex(wanted)
        if not matches then status.usage(wanted .. ": " .. reason) end
        return text.path(path), function(value) return matches(text.of(value)) end
    end
    local holds = OPERATORS[operator]
    if not holds then status.usage(operator .. ": there is no such operator: == != < <= > >= ~") end
    return text.path(path), function(value)
        local one, other = sides(value, wanted)
        return holds(one, other)
    end
end

return condition
