-- What of the daemon's model goes on from a word that is typed, a line each: complete.lua KIND WORD.
--   paths       names below the word's object
--   objects     those of objects
--   settings    what can be set, and behind PATH= its values as JSON, as one request takes them
--   modes       the device's modes
local kind, word = ...

local function goes_on(text, typed)
    return text:sub(1, #typed):lower() == typed:lower()
end

-- A line each: nothing that would be another one, or steer the terminal.
local function offer(text)
    if not text:find("%c") then print(text) end
end

-- The children whose names go on from `typed`, behind its object as it is typed.
local function children(typed, wanted, before)
    local object, start = typed:match("^(.*%.)([^.]*)$")
    if not object then object, start = "", typed end
    local answer = ox.call("GetParameterNames", {ParameterPath = object == "" and "." or object, NextLevel = true})
    local seen = {}  -- below "*" each name comes once for each instance
    for _, child in ipairs(answer and answer.ParameterList or {}) do
        local name, dot = child.Name:match("([^.]*)(%.?)$")
        if goes_on(name, start) and not seen[name] and wanted(dot == ".", child.Writable) then
            seen[name] = true
            offer((before or "") .. object .. name .. dot)
        end
    end
end

local function everything() return true end

local function settings()
    local path, typed = word:match("^([^=]*)=(.*)$")
    if not path then
        return children(word, function(object, writable) return object or writable end)
    end
    local attributes = ox.attrs(path)
    if not attributes or attributes.access ~= "readWrite" then return end
    if attributes.type == "pathRef" then
        return children(typed:gsub('^"', ""), everything, path .. '="')
    end
    local values = attributes.enum or {}
    if attributes.type == "boolean" or attributes.type == "flag" then values = {true, false} end
    for _, value in ipairs(values) do
        local text = ox.json.encode(value)
        if goes_on(text, typed) then offer(path .. "=" .. text) end
    end
end

local function modes()
    local attributes = ox.attrs("Device.DeviceInfo.DeviceMode") or {}
    for _, mode in ipairs(attributes.enum or {}) do
        if mode ~= "" and goes_on(mode, word) then offer(mode) end
    end
end

local kinds = {
    paths = function() children(word, everything) end,
    objects = function() children(word, function(object) return object end) end,
    settings = settings,
    modes = modes,
}
kinds[kind]()
