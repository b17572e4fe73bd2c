-- A printer of tables: aligned rows for lists of records, sorted keys for the rest.
--
--   local dump = require "ombrix.dump"
--   dump.print(ox.config("Device.WiFi.Radio.1."))
--   dump.rows(ox.config("Device.Hosts.Host."), {"HostName", "IPAddress"})

local dump = {}

local function text_of(value)
    if type(value) == "string" then return string.format("%q", value):gsub("\\\n", "\\n") .. "" end
    return tostring(value)
end

local function sorted_keys(values)
    local keys = {}
    for key in pairs(values) do keys[#keys + 1] = key end
    table.sort(keys, function(a, b)
        if type(a) == type(b) and (type(a) == "number" or type(a) == "string") then return a < b end
        return tostring(type(a)) < tostring(type(b))
    end)
    return keys
end

local function add(lines, indent, label, value, seen)
    if type(value) ~= "table" or getmetatable(value) and getmetatable(value).__tostring then
        lines[#lines + 1] = indent .. label .. text_of(value)
    elseif seen[value] then
        lines[#lines + 1] = indent .. label .. "(shown above)"
    else
        seen[value] = true
        lines[#lines + 1] = indent .. label .. (next(value) == nil and "{}" or "")
        for _, key in ipairs(sorted_keys(value)) do
            add(lines, indent .. "  ", tostring(key) .. ": ", value[key], seen)
        end
    end
end

-- The text of any value, one entry a line.
function dump.text(value)
    local lines = {}
    add(lines, "", "", value, {})
    if lines[1] == "" then table.remove(lines, 1) end
    return table.concat(lines, "\n")
end

function dump.print(value) print(dump.text(value)) end

local function escaped(c) return ("\\x%02x"):format(c:byte()) end

-- A cell is one line of valid text.
local function cell_of(value)
    if value == nil then return "-" end
    local text = tostring(value):gsub("%c", escaped)
    return utf8.len(text) and text or (text:gsub("[\x80-\xff]", escaped))
end

-- The names of all fields.
local function fields_of(records)
    local names = {}
    for _, record in pairs(records) do
        if type(record) == "table" then
            for name in pairs(record) do names[name] = true end
        end
    end
    return sorted_keys(names)
end

-- Prints a table of records as aligned rows with a heading; what is no table is left out. `columns` are the names of
-- the fields (all of them by default).
function dump.rows(records, columns)
    columns = columns or fields_of(records)
    local heading = {"#"}
    for i, column in ipairs(columns) do heading[i + 1] = cell_of(column) end
    local rows = {heading}
    for _, key in ipairs(sorted_keys(records)) do
        local record = records[key]
        if type(record) == "table" then
            local row = {cell_of(key)}
            for _, column in ipairs(columns) do row[#row + 1] = cell_of(record[column]) end
            rows[#rows + 1] = row
        end
    end
    local widths = {}
    for _, row in ipairs(rows) do
        for i, cell in ipairs(row) do widths[i] = math.max(widths[i] or 0, ox.width(cell)) end
    end
    for _, row in ipairs(rows) do
        local line = {}
        for i, cell in ipairs(row) do line[i] = i < #row and cell .. (" "):rep(widths[i] - ox.width(cell)) or cell end
        print(table.concat(line, "  "))
    end
end

return dump
