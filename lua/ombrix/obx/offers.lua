-- What the daemon's model offers for a word that is typed. Each function takes the word, the words of the command
-- before it, and `offer(word, about)`.

local offers = {}

local function goes_on(text, typed) return text:sub(1, #typed):lower() == typed:lower() end

-- The children whose names go on from `typed`, behind its object as it is typed, where `wanted(name, writable)`.
local function children(typed, offer, wanted, before)
    local colons, path = typed:match("^(:*)(.*)$")
    local object, start = path:match("^(.*%.)([^.]*)$")
    if not object then object, start = "", path end
    local answer = ox.call("GetParameterNames", {ParameterPath = object == "" and "." or object, NextLevel = true})
    local seen = {} -- below "*" each name comes once for each row
    for _, child in ipairs(answer and answer.ParameterList or {}) do
        local name = child.Name:match("([^.]*%.?)$")
        if goes_on(name, start) and not seen[name] and wanted(name, child.Writable) then
            seen[name] = true
            offer((before or "") .. colons .. object .. name)
        end
    end
end

local function is_object(name) return name:sub(-1) == "." end
local function anything() return true end

function offers.path(word, _, offer) children(word, offer, anything) end
function offers.object(word, _, offer) children(word, offer, is_object) end
offers.table, offers.row, offers.method = offers.object, offers.object, offers.path

-- The values that a parameter or argument with these attributes may have.
local function values(attributes, before, typed, offer)
    local known = attributes.enum or {}
    if attributes.type == "boolean" or attributes.type == "flag" then known = {true, false} end
    for _, value in ipairs(known) do
        local text = type(value) == "string" and value or ox.json.encode(value)
        if text ~= "" and goes_on(text, typed) then offer(before .. text) end
    end
end

local function value_of(path, before, typed, offer)
    local attributes = ox.attrs(path)
    if not attributes or attributes.access ~= "readWrite" then return end
    if attributes.type == "pathRef" then return children(typed, offer, anything, before) end
    values(attributes, before, typed, offer)
end

-- PATH=VALUE
function offers.assignment(word, _, offer)
    local path, typed = word:match("^([^=]*)=(.*)$")
    if path then return value_of(path, path .. "=", typed, offer) end
    children(word, function(text) offer(is_object(text) and text or text .. "=") end,
        function(name, writable) return is_object(name) or writable end)
end

-- NAME=VALUE of a row that is to be added to the table in the first word
function offers.column(word, words, offer)
    local template = words[1]:gsub("%.?$", ".#template.")
    local name, typed = word:match("^([^=]*)=(.*)$")
    if name then return value_of(template .. name, name .. "=", typed, offer) end
    local answer = ox.call("GetParameterAttributes", {ParameterNames = {template}, Level = 1})
    for _, entry in ipairs(answer and answer.ParameterList or {}) do
        local short = entry.Name:sub(#template + 1)
        local column = short ~= "" and not is_object(short) and entry.Attributes.access == "readWrite"
        if column and goes_on(short, word) then offer(short .. "=", entry.Attributes.type) end
    end
end

-- NAME=VALUE of an argument of the method in the first word
function offers.argument(word, words, offer)
    local input = words[1] .. ".#input."
    local answer = ox.call("GetParameterAttributes", {ParameterNames = {input}, Level = 1})
    local name, typed = word:match("^([^=]*)=(.*)$")
    for _, entry in ipairs(answer and answer.ParameterList or {}) do
        local short = entry.Name:sub(#input + 1)
        if name and short == name then
            values(entry.Attributes, name .. "=", typed, offer)
        elseif not name and short ~= "" and goes_on(short, word) then
            offer(short .. "=", entry.Attributes.type)
        end
    end
end

function offers.mode(word, _, offer) values(ox.attrs("Device.DeviceInfo.DeviceMode") or {}, "", word, offer) end

function offers.operator(word, _, offer)
    for _, operator in ipairs{"==", "!=", "<", "<=", ">", ">=", "~"} do
        if goes_on(operator, word) then offer(operator) end
    end
end

-- The value that is waited for, behind a path and an operator
function offers.value(word, words, offer) value_of(words[1], "", word, offer) end

return offers
