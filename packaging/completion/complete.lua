-- What of the daemon's model goes on from a word that is typed, a line each: complete.lua KIND WORD [METHOD].
--   paths       names below the word's object             objects     those of objects
--   settings    PATH=VALUE with the value as JSON         texts       PATH=VALUE with the value as a text
--   modes       the device's modes                        arguments   NAME=VALUE of the method's arguments, as texts
local kind, word, method = ...

local function offer(text, about)
    print(about and text .. "\t" .. about or text)
end

local function goes_on(text, typed)
    return text:sub(1, #typed):lower() == typed:lower()
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

-- The values that a parameter with these attributes may have, behind `before`. `form` makes a value's text.
local function values(attributes, before, typed, form)
    local offered = attributes.enum or {}
    if attributes.type == "boolean" or attributes.type == "flag" then offered = {true, false} end
    for _, value in ipairs(offered) do
        local text = form(value)
        if text ~= "" and goes_on(text, typed) then offer(before .. text) end
    end
end

local function as_text(value)
    return type(value) == "string" and value or ox.json.encode(value)
end

local function settings(form)
    local path, typed = word:match("^([^=]*)=(.*)$")
    if not path then
        return children(word, function(object, writable) return object or writable end)
    end
    local attributes = ox.attrs(path)
    if not attributes or attributes.access ~= "readWrite" then return end
    if attributes.type ~= "pathRef" then return values(attributes, path .. "=", typed, form) end
    local quote = form("") == '""' and '"' or ""
    children(typed:gsub("^" .. quote, ""), everything, path .. "=" .. quote)
end

local function arguments()
    local input = method .. ".#input."
    local answer = ox.call("GetParameterAttributes", {ParameterNames = {input}, Level = 1})
    local name, typed = word:match("^([^=]*)=(.*)$")
    for _, argument in ipairs(answer and answer.ParameterList or {}) do
        local short = argument.Name:sub(#input + 1)
        if name and short == name then
            values(argument.Attributes, name .. "=", typed, as_text)
        elseif not name and short ~= "" and goes_on(short, word) then
            offer(short .. "=", argument.Attributes.type)
        end
    end
end

local kinds = {
    paths = function() children(word, everything) end,
    objects = function() children(word, function(object) return object end) end,
    settings = function() settings(ox.json.encode) end,
    texts = function() settings(as_text) end,
    modes = function() values(ox.attrs("Device.DeviceInfo.DeviceMode") or {}, "", word, as_text) end,
    arguments = arguments,
}
kinds[kind]()
