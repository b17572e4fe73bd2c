-- What a configuration file would change on the device.
--
-- A row of the file is the device's row of the same number; where there is none, a row of the same table that has the
-- same values, or the same Alias: rows that were added from a file have other numbers than in it.

local sort = require "ombrix.obx.sort"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local difference = {}

local TRUTH = {["true"] = true, ["1"] = true, ["false"] = false, ["0"] = false}

-- Whether the device's value is what the file's text says.
function difference.same(value, wanted)
    if value == nil then return false end
    if text.of(value) == wanted then return true end
    if type(value) == "boolean" then return TRUTH[wanted:lower()] == value end
    return type(value) == "number" and tonumber(wanted) == value
end

-- The rows that a path lies in or is, from the outermost to the innermost.
local function rows_of(path)
    local rows = {}
    for _, at in path:gmatch("%.(%d+)()%.") do rows[#rows + 1] = path:sub(1, at) end
    return rows
end

local function table_of(row) return (row:match("^(.*%.)%d+%.$")) end

-- The innermost row that something lies in, or "".
local function owner_of(path)
    local rows = rows_of(path)
    local last = #rows
    if rows[last] == path then last = last - 1 end
    return rows[last] or ""
end

-- What the file says, by rows: `tables[table] = {rows}`, `inner[row] = {tables}`, `values[row] = {name = text}`; the
-- row "" is what lies in no row.
local function read_wanted(entries)
    local wanted = {tables = {}, inner = {[""] = {}}, values = {[""] = {}}}
    for _, entry in ipairs(entries) do
        for _, row in ipairs(rows_of(entry.path)) do
            if not wanted.inner[row] then
                local parent = table_of(row)
                if not wanted.tables[parent] then
                    wanted.tables[parent] = {}
                    table.insert(wanted.inner[owner_of(row)], parent)
                end
                table.insert(wanted.tables[parent], row)
                wanted.inner[row], wanted.values[row] = {}, {}
            end
        end
        if entry.value then
            local row = owner_of(entry.path)
            wanted.values[row][entry.path:sub(#row + 1)] = entry.value
        end
    end
    return wanted
end

local function device_rows(now, parent)
    local rows = {}
    for row in pairs(now.instances) do
        if table_of(row) == parent then rows[#rows + 1] = row end
    end
    return sort(rows)
end

local function has_values(now, row, values)
    for name, value in pairs(values) do
        if not difference.same(now.values[row .. name], value) then return false end
    end
    return next(values) ~= nil
end

local function has_alias(now, row, values)
    return values.Alias and values.Alias ~= "" and now.values[row .. "Alias"] == values.Alias
end

-- Finds the device's rows for those of one table of the file; `names[row]` becomes what the row is called there.
local function match_table(wanted, now, names, parent, there)
    local free = there and device_rows(now, there) or {}
    local function take(row, fits)
        for i, candidate in ipairs(free) do
            if fits(candidate) then
                names[row] = table.remove(free, i)
                return
            end
        end
    end
    local rows = wanted.tables[parent]
    for _, row in ipairs(rows) do
        local number = row:sub(#parent + 1)
        take(row, function(candidate) return candidate == (there or "") .. number end)
    end
    for _, like in ipairs{has_values, has_alias} do
        for _, row in ipairs(rows) do
            local function fits(candidate) return like(now, candidate, wanted.values[row]) end
            if not names[row] then take(row, fits) end
        end
    end
end

local function add_value(changes, now, path, name, value)
    local from = now.values[name]
    if from == nil or not difference.same(from, value) then
        changes[#changes + 1] = {change = "changed", path = path, name = name, from = from, to = value}
    end
end

local function sorted_keys(values)
    local keys = {}
    for key in pairs(values) do keys[#keys + 1] = key end
    return sort(keys)
end

-- The changes for a row of the file (at first ""), which is called `there` on the device; nil where it is to be added.
local function compare_row(context, row, there)
    local wanted, now, changes = context.wanted, context.now, context.changes
    for _, name in ipairs(sorted_keys(wanted.values[row])) do
        local path, value = row .. name, wanted.values[row][name]
        if there then
            add_value(changes, now, path, there .. name, value)
        else
            changes[#changes + 1] = {change = "changed", path = path, to = value}
        end
    end
    for _, parent in ipairs(wanted.inner[row]) do
        local inside = there and there .. parent:sub(#row + 1)
        match_table(wanted, now, context.names, parent, inside)
        for _, each in ipairs(wanted.tables[parent]) do
            local name = context.names[each]
            if not name then changes[#changes + 1] = {change = "added", path = each} end
            compare_row(context, each, name)
        end
    end
end

-- Rows that the file is all of and does not have.
local function add_removed(context, scope)
    local kept = {}
    for _, name in pairs(context.names) do kept[name] = true end
    local gone = {}
    for row in pairs(context.now.instances) do
        local inside = row:sub(1, #scope) == scope and row ~= scope
        if inside and not kept[row] and context.now.tables[table_of(row)] ~= false then gone[#gone + 1] = row end
    end
    local told = {}
    for _, row in ipairs(sort(gone)) do
        local outer = owner_of(row)
        if not told[outer] then context.changes[#context.changes + 1] = {change = "removed", path = row, name = row} end
        told[row] = true
    end
end

-- The longest object that all paths of the file lie in.
local function common_object(entries)
    local common = entries[1] and entries[1].path:match("^(.*%.)") or ""
    for _, entry in ipairs(entries) do
        while entry.path:sub(1, #common) ~= common do common = common:match("^(.*%.)[^.]+%.$") or "" end
    end
    return common
end

-- Where something is looked for: the rows of a table are told below the table, and one of them may not be there.
local function place_of(path)
    local row = rows_of(path)[1]
    return row and table_of(row) or path
end

-- The changes from the device to the file {scope, entries}, rows that go at the end; the snapshot that they were found
-- in; and what rows of the file are called on the device. A change is {change = "added" | "changed" | "removed", path =
-- as in the file, name = on the device (nil in rows that are to be added), from, to}.
function difference.find(config)
    if not config.scope and #config.entries == 0 then return {}, {}, {} end
    local snapshot = require "ombrix.snapshot"
    local top = place_of(config.scope or common_object(config.entries))
    local now = status.check(top, snapshot.take(top))
    local context = {wanted = read_wanted(config.entries), now = now, names = {}, changes = {}}
    compare_row(context, "", "")
    if config.scope then add_removed(context, config.scope) end
    return context.changes, now, context.names
end

return difference
