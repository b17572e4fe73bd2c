-- obx call: a method, to its end.

local output = require "ombrix.obx.output"
local sort = require "ombrix.obx.sort"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"name", "value"}
local DEVICE_EVENTS = 2

local INTEGERS = {int = true, unsignedInt = true, long = true, unsignedLong = true}

-- A text as an argument of this type.
local function converted(name, value, kind)
    local result = value
    if kind == "boolean" or kind == "flag" then
        result = ({["true"] = true, ["1"] = true, ["false"] = false, ["0"] = false})[value:lower()]
    elseif INTEGERS[kind] then
        result = math.tointeger(tonumber(value))
    elseif kind == "decimal" then
        result = tonumber(value)
    elseif kind == "json" then
        local done, decoded = pcall(ox.json.decode, value)
        result = done and decoded or nil
    end
    if result == nil then status.stop(status.REFUSED, name, ("%q is no %s"):format(value, kind)) end
    return result
end

-- The types of the method's arguments by their names in small letters.
local function types_of(method)
    local answer = ox.call("GetParameterAttributes", {ParameterNames = {method .. ".#input."}, Level = -1})
    local types, prefix = {}, #method + #".#input." + 1
    for _, entry in ipairs(answer and answer.ParameterList or {}) do
        types[entry.Name:sub(prefix):lower()] = entry.Attributes.type
    end
    return types
end

local function arguments_of(method, words)
    if #words == 1 then return nil end
    local types, arguments = types_of(method), {}
    for i = 2, #words do
        local name, value = text.assignment(words[i])
        if not name or name == "" then status.usage(words[i] .. ": NAME=VALUE expected") end
        arguments[name] = converted(name, value, types[name:lower()])
    end
    return arguments
end

-- A method's name as it is compared: with "()" or without.
local function bare(path) return (path:gsub("%(%)$", ""):gsub("%.$", "")) end

local function outputs_of(method, list)
    local outputs, prefix = {}, #bare(method) + 2
    for _, entry in ipairs(list or {}) do
        local name = entry.Name:find(bare(method), 1, true) == 1 and entry.Name:sub(prefix) or entry.Name
        outputs[(name:gsub("^%(?%)?%.", ""))] = entry.Value
    end
    return outputs
end

-- Calls the method and waits for the event that tells of its end.
local function call_asynchronous(method, arguments, seconds)
    local finish
    ox.on(DEVICE_EVENTS, function(event)
        local mine = type(event) == "table" and event.Event == "OperationComplete" and type(event.Path) == "string"
        if mine and bare(event.Path) == bare(method) then finish = event end
    end)
    local outputs = status.check(method, ox.exec(method, arguments))
    if next(outputs) or seconds == 0 then return outputs end
    local ended, message, code = ox.wait(function() return finish end, seconds)
    if ended == nil then
        status.stop(status.of(code), method, message .. ": how it ended is not known")
    elseif not ended then
        status.stop(status.LATE, method, "it has not ended within " .. text.seconds(seconds))
    elseif finish.Error then
        local message, detail = finish.Error.message or "it failed", finish.Error.Detail
        status.stop(status.REFUSED, method, detail and message .. ": " .. detail or message)
    end
    return outputs_of(method, finish.ParameterList)
end

local function run(words, options)
    local method = text.path(words[1])
    local attributes = status.check(method, ox.attrs(method))
    if attributes.type ~= "method" then status.stop(status.REFUSED, method, "it is no method") end
    local arguments = arguments_of(method, words)
    local outputs
    if attributes.async then
        outputs = call_asynchronous(method, arguments, options.wait)
    else
        outputs = status.check(method, ox.exec(method, arguments, {timeout = options.wait or ox.timeout or math.huge}))
    end
    local out = output.open(options, COLUMNS, function(record) return record.name .. "=" .. text.line(record.value) end)
    local names = {}
    for name in pairs(outputs) do names[#names + 1] = name end
    for _, name in ipairs(sort(names)) do out.add{name = name, value = outputs[name]} end
    out.finish()
end

return {
    summary = "calls a method, waits for its end and prints its outputs",
    usage = "METHOD [NAME=VALUE...]",
    options = {
        {"    --wait SECONDS", "at most so long (0: not for an asynchronous one)"},
    },
    least = 1,
    words = {"method", "argument"},
    run = run,
}
