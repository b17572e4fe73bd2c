-- Values and paths as text, and back.

local text = {}

local NAMES = {["\n"] = "\\n", ["\r"] = "\\r", ["\t"] = "\\t", ["\\"] = "\\\\"}
local BYTES = {n = "\n", r = "\r", t = "\t", ["\\"] = "\\"}

-- A value as people write it: texts as they are, json values as JSON.
function text.of(value)
    if type(value) == "string" then return value end
    if value == nil or value == ox.null then return "" end
    if type(value) == "boolean" then return tostring(value) end
    return ox.json.encode(value)
end

local function named(byte) return NAMES[byte] or ("\\0%03o"):format(byte:byte()) end

-- A value as part of a line: what would end the line, or steer a terminal, is written as printf's %b reads it.
function text.line(value)
    local plain = text.of(value)
    return plain:find("[%c\\]") and (plain:gsub("[%c\\]", named)) or plain
end

-- What text.line was made of.
function text.read(line)
    if not line:find("\\", 1, true) then return line end
    return (line:gsub("\\([0nrt\\])([0-7]?[0-7]?[0-7]?)", function(kind, digits)
        if kind ~= "0" then return BYTES[kind] .. digits end
        if #digits == 3 then return string.char(tonumber(digits, 8) % 256) end
    end))
end

-- A path as the daemon names it: without a leading ":".
function text.path(word) return (word:gsub("^:+", "")) end

-- "PATH=VALUE" in two; nil where there is no "=".
function text.assignment(word)
    local path, value = word:match("^([^=]*)=(.*)$")
    if path then return text.path(path), value end
end

local function padded(digits) return ("0"):rep(20 - #digits) .. digits end

-- Sorts names so that their numbers count as numbers.
function text.sort(names)
    local keys = {}
    for _, name in ipairs(names) do keys[name] = tostring(name):gsub("%d+", padded) end
    table.sort(names, function(a, b) return keys[a] < keys[b] end)
    return names
end

-- Whether a word asks for more than one value by the way it is written.
function text.is_selector(path) return path:find("[%[{]") ~= nil end
function text.is_set(path) return path:find("[*%[{]") ~= nil or path:sub(-1) == "." end

return text
