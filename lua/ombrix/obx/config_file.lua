-- A configuration as text: a line for each value (PATH=VALUE) and for each row (its path, with the final "."), in the
-- model's order. The heading of an export says what the file is all of: rows that it lacks are deleted when it is
-- applied. A file without a heading sets what it names, adds the rows that it names, and deletes nothing.
-- Empty lines and those that begin with "#" say nothing.

local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local config_file = {}

local BYTES = {n = "\n", r = "\r", t = "\t", ["\\"] = "\\"}
local HEADING = "# obx export "

function config_file.heading(path) return HEADING .. (path == "" and "." or path) end

-- The rows and values of a snapshot as {path, value} in the order of the file; `value` is nil for a row.
function config_file.entries(snapshot)
    local rows = {}
    for row in pairs(snapshot.instances) do rows[#rows + 1] = row end
    table.sort(rows, function(a, b) return snapshot.instances[a] < snapshot.instances[b] end)
    local entries, told = {}, {}
    -- The rows around something, from the outermost to the innermost.
    local function tell_rows(path)
        for at in path:gmatch("()%.") do
            local row = path:sub(1, at)
            if snapshot.instances[row] and not told[row] then
                told[row] = true
                entries[#entries + 1] = {path = row}
            end
        end
    end
    for _, name in ipairs(snapshot.names) do
        tell_rows(name)
        entries[#entries + 1] = {path = name, value = snapshot.values[name]}
    end
    for _, row in ipairs(rows) do tell_rows(row) end -- those in which nothing can be written
    return entries
end

-- Writes a snapshot as a file.
function config_file.write(snapshot, file)
    file:write(config_file.heading(snapshot.path), "\n")
    for _, entry in ipairs(config_file.entries(snapshot)) do
        file:write(entry.path, entry.value == nil and "" or "=" .. text.line(entry.value), "\n")
    end
end

-- What text.line was made of.
local function read_value(line)
    return (line:gsub("\\([0nrt\\])([0-7]?[0-7]?[0-7]?)", function(kind, digits)
        if kind ~= "0" then return BYTES[kind] .. digits end
        if #digits == 3 then return string.char(tonumber(digits, 8) % 256) end
    end))
end

local function add_line(config, line, number, name)
    if line:find("^%s*$") then return end
    if line:sub(1, 1) == "#" then
        if line:sub(1, #HEADING) == HEADING then config.scope = line:sub(#HEADING + 1):gsub("^%.$", "") end
        return
    end
    local path, value = text.assignment(line)
    path = path or line:find("%.$") and text.path(line)
    if not path or path == "" then
        status.stop(status.REFUSED, ("%s:%d"):format(name, number),
            "PATH=VALUE, or a row's path with its final \".\", expected")
    end
    config.entries[#config.entries + 1] = {path = path, value = value and read_value(value)}
end

-- Reads a file ("-": standard input): {scope = path or nil, entries = {{path, value}}}.
function config_file.read(name)
    local file, reason = io.stdin, nil
    if name ~= "-" then file, reason = io.open(name) end
    if not file then status.stop(status.REFUSED, nil, reason) end
    local config, number = {entries = {}}, 0
    for line in file:lines() do
        number = number + 1
        add_line(config, line:gsub("\r$", ""), number, name)
    end
    if name ~= "-" then file:close() end
    return config
end

return config_file
