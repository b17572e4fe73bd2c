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

-- Ranges of characters that take no column, and of those that take two.
local NARROW = {{0x300, 0x36F}, {0x483, 0x489}, {0x591, 0x5BD}, {0x610, 0x61A}, {0x64B, 0x65F}, {0x1AB0, 0x1AFF},
                {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x2064}, {0x20D0, 0x20FF},
                {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0xE0100, 0xE01EF}}
local WIDE = {{0x1100, 0x115F}, {0x2E80, 0x303E}, {0x3041, 0xA4CF}, {0xA960, 0xA97F}, {0xAC00, 0xD7A3}, {0xF900, 0xFAFF},
              {0xFE30, 0xFE6F}, {0xFF01, 0xFF60}, {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF},
              {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}}

local function is_in(ranges, code)
    for _, range in ipairs(ranges) do
        if code < range[1] then return false end
        if code <= range[2] then return true end
    end
    return false
end

-- Columns of a text on a terminal.
local function width_of(text)
    if not text:find("[\x80-\xff]") then return #text end
    local width = 0
    for _, code in utf8.codes(text) do
        width = width + (is_in(NARROW, code) and 0 or is_in(WIDE, code) and 2 or 1)
    end
    return width
end

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
        for i, cell in ipairs(row) do widths[i] = math.max(widths[i] or 0, width_of(cell)) end
    end
    for _, row in ipairs(rows) do
        local line = {}
        for i, cell in ipairs(row) do line[i] = i < #row and cell .. (" "):rep(widths[i] - width_of(cell)) or cell end
        print(table.concat(line, "  "))
    end
end

return dump
