-- Snapshots of a part of the model: what can be written below a path, to compare and to bring back.
--
--   local snapshot = require "ombrix.snapshot"
--   local before = snapshot.take("Device.NAT.")
--   ...
--   local undo = snapshot.apply(before)

local snapshot = {}

local function fail(message, code, data) return nil, message, code, data end

local function sorted(values)
    local names = {}
    for name in pairs(values) do names[#names + 1] = name end
    table.sort(names)
    return names
end

-- A path as the daemon names an object: with its final ".".
local function object_path(path)
    path = tostring(path):gsub("^:+", "")
    if path ~= "" and path:sub(-1) ~= "." then path = path .. "." end
    return path
end

-- The writable parameters below `path` with their values: {path = path, values = {name = value}, instances =
-- {name = true}}. Or nil, message, code, data.
function snapshot.take(path)
    path = object_path(path)
    local list, message, code, data = ox.call("GetParameterNames",
        {ParameterPath = path == "" and "." or path, NextLevel = false})
    if not list then return fail(message, code, data) end
    local result = {path = path, values = {}, instances = {}}
    local values
    values, message, code, data = ox.get(path == "" and "." or path)
    if not values then return fail(message, code, data) end
    for _, entry in ipairs(list.ParameterList) do
        local name = entry.Name
        if name:match("%.%d+%.$") then
            result.instances[name] = true
        elseif entry.Writable and values[name] ~= nil then
            result.values[name] = values[name]
        end
    end
    return result
end

-- What differs from `before` to `after`: {changed = {name = {old, new}}, added = {instances}, removed = {instances}}.
function snapshot.diff(before, after)
    local result = {changed = {}, added = {}, removed = {}}
    for name, old in pairs(before.values) do
        local new = after.values[name]
        if new ~= nil and ox.json.encode(old) ~= ox.json.encode(new) then result.changed[name] = {old, new} end
    end
    for _, name in ipairs(sorted(after.instances)) do
        if not before.instances[name] then result.added[#result.added + 1] = name end
    end
    for _, name in ipairs(sorted(before.instances)) do
        if not after.instances[name] then result.removed[#result.removed + 1] = name end
    end
    return result
end

-- The name that an instance of the snapshot has now: it or an instance around it may have been added anew.
local function renamed(name, moved)
    for length = #name, 1, -1 do
        local now = name:sub(length, length) == "." and moved[name:sub(1, length)]
        if now then return now .. name:sub(length + 1) end
    end
    return name
end

-- Adds an instance that is gone; the daemon never hands out a number twice, so it has another one.
local function add_again(name, moved)
    local parent = renamed(name:match("^(.*%.)%d+%.$"), moved)
    local number, message, code, data = ox.add(parent)
    if not number then return nil, message, code, data end
    moved[name] = parent .. number .. "."
    return true
end

-- Brings the part of the model back to the snapshot: instances that are new are deleted, those that are gone
-- are added again (under new numbers), values that differ are set, all in one request. Returns a function that
-- undoes this, or nil, message, code, data; then what was added is deleted again and values are set back, but
-- what was deleted is gone.
function snapshot.apply(wanted)
    local now, message, code, data = snapshot.take(wanted.path)
    if not now then return fail(message, code, data) end
    local diff = snapshot.diff(now, wanted)
    local moved = {}
    local function take_back()
        for _, name in pairs(moved) do ox.del(name) end
    end
    for _, name in ipairs(diff.added) do
        local ok
        ok, message, code, data = add_again(name, moved)
        if not ok then
            take_back()
            return fail(message, code, data)
        end
    end
    local values, changed, count = {}, {}, 0
    for name, value in pairs(wanted.values) do
        local old = now.values[name]
        if old == nil or ox.json.encode(old) ~= ox.json.encode(value) then
            values[renamed(name, moved)] = value
            changed[name] = old
            count = count + 1
        end
    end
    if count > 0 then
        local ok
        ok, message, code, data = ox.set(values)
        if not ok then
            take_back()
            return fail(message, code, data)
        end
    end
    for i = #diff.removed, 1, -1 do
        local ok
        ok, message, code, data = ox.del(diff.removed[i])
        if not ok then
            take_back()
            if next(changed) then ox.set(changed) end
            return fail(message, code, data)
        end
    end
    return function() return snapshot.apply(now) end
end

return snapshot
