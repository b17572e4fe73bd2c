-- Values and paths as text.

local text = {}

local NAMES = {["\n"] = "\\n", ["\r"] = "\\r", ["\t"] = "\\t", ["\\"] = "\\\\"}

-- A value as people write it: texts as they are, json values as JSON.
function text.of(value)
    if type(value) == "string" then return value end
    if value == nil or value == ox.null then return "" end
    local plain = type(value) == "boolean" or math.type(value) == "integer"
    return plain and tostring(value) or ox.json.encode(value)
end

-- A value as part of a line: what would end the line, or steer a terminal, is written as printf's %b reads it.
function text.line(value)
    local plain = text.of(value)
    if not plain:find("[%c\\]") then return plain end
    return (plain:gsub("[%c\\]", function(byte) return NAMES[byte] or ("\\0%03o"):format(byte:byte()) end))
end

-- A path as the daemon names it: without a leading ":".
function text.path(word) return (word:gsub("^:+", "")) end

-- "PATH=VALUE" in two; nil where there is no "=".
function text.assignment(word)
    local path, value = word:match("^([^=]*)=(.*)$")
    if path then return text.path(path), value end
end

-- A time as people say it.
function text.seconds(number) return number == 1 and "1 second" or ("%g seconds"):format(number) end

return text
