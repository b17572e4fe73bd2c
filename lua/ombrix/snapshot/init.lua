-- Snapshots of a part of the model: what can be written below a path, to compare and to bring back.
--
--   local snapshot = require "ombrix.snapshot"
--   local before = snapshot.take("Device.NAT.")
--   ...
--   local undo, left = snapshot.apply(before)
--
-- Failures are nil, a message, the code and the error's data, whatever ox.strict says.

local snapshot = {}

local TOO_MANY, NO_SUCH_NAME = 9004, 9005

-- A path as the daemon names an object: with its final ".".
local function object_path(path)
    path = tostring(path):gsub("^:+", ""):gsub("^%.$", "")
    if path ~= "" and path:sub(-1) ~= "." then path = path .. "." end
    return path
end

local function table_of(instance) return (instance:match("^(.*%.)%d+%.$")) end

-- Notes the places of the instances of ordered tables, which stand in their configuration as "order".
local function note_places(places, config, path)
    for key, value in pairs(config) do
        if type(value) == "table" then
            local below = path .. key .. "."
            if math.type(key) == "integer" and math.type(value.order) then places[below] = value.order end
            note_places(places, value, below)
        end
    end
end

-- What can be written below `path`: {path = path, values = {name = value}, names = {parameters in the model's order},
-- instances = {name = rank in the model's order}, places = {name = place in an ordered table}, tables = {name = true
-- where instances can be added}}. What the user may not read is not in it. Or nil, message, code, data.
function snapshot.take(path)
    path = object_path(path)
    local top = path == "" and "." or path
    local names, message, code, data = ox.try(ox.call, "GetParameterNames", {ParameterPath = top, NextLevel = false})
    if not names then return nil, message, code, data end
    local answer
    answer, message, code, data =
        ox.try(ox.call, "GetParameterValues", {ParameterNames = {top}, IgnoreAccessError = true})
    if not answer then return nil, message, code, data end
    local config
    config, message, code, data = ox.try(ox.config, top)
    if not config then return nil, message, code, data end
    local values = {}
    for _, entry in ipairs(answer.ParameterList) do values[entry.Name] = entry.Value end
    local result = {path = path, values = {}, names = {}, instances = {}, places = {}, tables = {}}
    note_places(result.places, config, path)
    for rank, entry in ipairs(names.ParameterList) do
        local name = entry.Name
        if table_of(name) then
            result.instances[name] = rank
        elseif name:sub(-1) == "." then
            result.tables[name] = entry.Writable
        elseif entry.Writable and values[name] ~= nil then
            result.values[name] = values[name]
            result.names[#result.names + 1] = name
        end
    end
    -- The names below a table do not hold the table itself.
    if path ~= "" and result.tables[path] == nil and not table_of(path) then
        local parent = ox.try(ox.call, "GetParameterNames",
            {ParameterPath = path:match("^(.*%.)[^.]+%.$") or ".", NextLevel = true})
        for _, entry in ipairs(parent and parent.ParameterList or {}) do
            if entry.Name == path then result.tables[path] = entry.Writable end
        end
    end
    return result
end

local function equal(a, b) return a == b or type(a) == "table" and ox.json.encode(a) == ox.json.encode(b) end

-- The instances of `one` that `other` has not, in the model's order.
local function missing(one, other)
    local names = {}
    for name in pairs(one.instances) do
        if not other.instances[name] then names[#names + 1] = name end
    end
    table.sort(names, function(a, b) return one.instances[a] < one.instances[b] end)
    return names
end

-- What differs from `before` to `after`: {changed = {name = {old, new}}, added = {instances}, removed = {instances}}.
function snapshot.diff(before, after)
    local changed = {}
    for name, old in pairs(before.values) do
        local new = after.values[name]
        if new ~= nil and not equal(old, new) then changed[name] = {old, new} end
    end
    return {changed = changed, added = missing(after, before), removed = missing(before, after)}
end

-- The name that something has now: an instance around it may have been added anew. `moved` has the new names of
-- instances by the old ones.
function snapshot.renamed(name, moved)
    for length = #name, 1, -1 do
        local now = name:sub(length, length) == "." and moved[name:sub(1, length)]
        if now then return now .. name:sub(length + 1) end
    end
    return name
end
local renamed = snapshot.renamed

-- A list of paths with each of them renamed.
function snapshot.renamed_list(value, moved)
    return (value:gsub("[^,%s]+", function(path)
        local dotted = path:sub(-1) == "."
        local now = renamed(dotted and path or path .. ".", moved)
        return dotted and now or now:sub(1, -2)
    end))
end

-- The value with the paths in it renamed, where the parameter holds references.
local function renamed_references(name, value, moved)
    if type(value) ~= "string" or not next(moved) then return value end
    local now = snapshot.renamed_list(value, moved)
    if now == value then return value end
    local attrs = ox.try(ox.attrs, name) or {}
    return (attrs.type == "pathRef" or attrs.relations or attrs.foreign_key) and now or value
end

-- Whether a text that reads as "" may be one that the daemon does not show.
local function is_secret(name)
    local last = name:match("[^.]+$")
    for _, word in ipairs{"Password", "Passphrase", "Secret", "SharedKey", "WEPKey"} do
        if last:find(word, 1, true) then return true end
    end
    local default = (ox.try(ox.attrs, name) or {}).default
    return default ~= nil and default ~= ""
end

-- Whether something is, or lies in, an instance that is left alone.
local function is_inside(name, left)
    for length = #name, 1, -1 do
        if name:sub(length, length) == "." and left[name:sub(1, length)] then return true end
    end
    return false
end

local function drop_fixed(names, tables, left, why)
    local free = {}
    for _, name in ipairs(names) do
        if not is_inside(name, left) then
            if tables[table_of(name)] == false then
                left[name] = why
            else
                free[#free + 1] = name
            end
        end
    end
    return free
end

-- Adds the instances that are gone: moved[name] is what they are called now, because the daemon never hands out a
-- number twice.
local function add_again(names, moved)
    for _, name in ipairs(names) do
        if not moved[name] then
            local parent = renamed(table_of(name), moved)
            local number, message, code, data = ox.try(ox.add, parent)
            if not number then return nil, message, code, data end
            moved[name] = parent .. number .. "."
        end
    end
    return true
end

-- Deletes the instances, innermost first. Those that others hold on to wait for them; those that went with others
-- are gone.
local function delete(names)
    local rest = names
    while #rest > 0 do
        local kept, message, code, data = {}, nil, nil, nil
        for i = #rest, 1, -1 do
            local ok, why, fault, details = ox.try(ox.del, rest[i])
            if not ok and fault ~= NO_SUCH_NAME then
                table.insert(kept, 1, rest[i])
                message, code, data = why, fault, details
            end
        end
        if #kept == #rest then return nil, message, code, data end
        rest = kept
    end
    return true
end

-- Adds the places of the instances of ordered tables that stand in another order, where no parameter shows it.
local function add_places(places, wanted, now, moved, left)
    local tables = {}
    for name in pairs(wanted.places) do
        if not is_inside(name, left) and wanted.values[name .. "Order"] == nil then
            local rows = tables[table_of(name)] or {}
            tables[table_of(name)] = rows
            rows[#rows + 1] = name
        end
    end
    for _, rows in pairs(tables) do
        table.sort(rows, function(a, b) return wanted.places[a] < wanted.places[b] end)
        local last, differs = 0, false
        for _, row in ipairs(rows) do
            local place = now.places[row] or math.huge -- those that were added again are last
            differs = differs or place < last
            last = place
        end
        for i, row in ipairs(differs and rows or {}) do
            places[#places + 1] = {Name = renamed(row, moved) .. "index", Value = i}
        end
    end
end

-- The values to be set, as a list for one request: places in an order last and ascending, so that each holds.
local function assignments(wanted, now, values, moved, left)
    local list, places = {}, {}
    for _, name in ipairs(wanted.names) do
        if not is_inside(name, left) then
            local target = renamed(name, moved)
            local value = renamed_references(target, wanted.values[name], moved)
            local new = target ~= name
            if value == "" and new and is_secret(target) then
                left[target] = "a hidden value is not known"
            elseif values[target] == nil or not equal(values[target], value) then
                local into = target:match("%.%d+%.Order$") and places or list
                into[#into + 1] = {Name = target, Value = value}
            end
        end
    end
    add_places(places, wanted, now, moved, left)
    table.sort(places, function(a, b) return a.Value < b.Value end)
    return table.move(places, 1, #places, #list + 1, list)
end

-- The values of the instances that were added again, and all others.
local function values_now(now, moved)
    local values = setmetatable({}, {__index = now.values})
    for _, name in pairs(moved) do
        local fresh = snapshot.take(name)
        for target, value in pairs(fresh and fresh.values or {}) do values[target] = value end
    end
    return values
end

local bring_back

-- Takes back what an attempt has done, as far as that can be.
local function give_up(now, is_undo, message, code, data)
    if not is_undo then bring_back(now, true) end
    return nil, message, code, data
end

-- The instances of `removed` that a refusal names: a value that is wanted is still theirs.
local function in_the_way(removed, data)
    local names = {}
    for _, reason in pairs(type(data) == "table" and data or {}) do
        local text = type(reason) == "table" and reason.message or reason
        for _, name in ipairs(removed) do
            if type(text) == "string" and text:find(name, 1, true) then names[#names + 1] = name end
        end
    end
    return names
end

function bring_back(wanted, is_undo)
    local now, message, code, data = snapshot.take(wanted.path)
    if not now then return nil, message, code, data end
    local left, moved = {}, {}
    local added = drop_fixed(missing(wanted, now), wanted.tables, left, "gone from a read-only table")
    local removed = drop_fixed(missing(now, wanted), now.tables, left, "new in a read-only table")
    local ok
    ok, message, code, data = add_again(added, moved)
    if code == TOO_MANY and #removed > 0 and delete(removed) then
        ok, message, code, data = add_again(added, moved)
    end
    if not ok then return give_up(now, is_undo, message, code, data) end
    local list = assignments(wanted, now, values_now(now, moved), moved, left)
    local function set()
        if #list == 0 then return true end
        return ox.try(ox.call, "SetParameterValues", {ParameterList = list})
    end
    ok, message, code, data = set()
    local blocking = in_the_way(removed, data)
    if not ok and #blocking > 0 and delete(blocking) then ok, message, code, data = set() end
    if ok then ok, message, code, data = delete(removed) end
    if not ok then return give_up(now, is_undo, message, code, data) end
    return function() return bring_back(now) end, left
end

-- Brings the part of the model back to the snapshot: instances that are gone are added again (under new numbers,
-- references to them renamed), values that differ are set, all in one request, and instances that are new are deleted.
-- Returns a function that undoes this, and a table of what was left alone: path = why. Or nil, message, code, data;
-- then what was done is taken back.
function snapshot.apply(wanted) return bring_back(wanted) end

return snapshot
