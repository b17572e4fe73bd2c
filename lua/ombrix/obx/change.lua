-- Many changes as one: the daemon takes them back when anything goes wrong, the connection or this program included.

local assign = require "ombrix.obx.assign"
local snapshot = require "ombrix.snapshot"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local change = {}

local SECONDS = 60 -- after which the daemon takes back what this program did not come to confirm
local ONCE = {once = true}
local NO_SUCH_METHOD, NOT_SUPPORTED, NO_SUCH_NAME = -32601, 9000, 9005

local function table_of(row) return (row:match("^(.*%.)%d+%.$")) end

-- A value with the rows in it renamed, where it is a list of paths.
local function renamed_value(value, names)
    if not value:find("^[%a][%w_.-]*%.") then return value end
    return snapshot.renamed_list(value, names)
end

local function assignments(changes, names)
    local list = {}
    for _, each in ipairs(changes) do
        if each.change == "changed" then
            list[#list + 1] = {Name = snapshot.renamed(each.path, names), Value = renamed_value(each.to, names)}
        end
    end
    return list
end

-- Whether a refusal is that of a daemon without the request.
local function lacks(code) return code == NO_SUCH_METHOD or code == NOT_SUPPORTED end

-- Rows are added, values set in one request, rows deleted. Nil, message, code, data where something is refused.
-- A row is asked for once: where the answer is lost, nobody knows whether there is one.
local function carry_out(changes, names)
    for _, each in ipairs(changes) do
        if each.change == "added" then
            local parent = snapshot.renamed(table_of(each.path), names)
            local answer, message, code, data = ox.call("AddObject", {ObjectName = parent}, ONCE)
            if not answer then return nil, message, code, data end
            names[each.path] = ("%s%d."):format(parent, answer.InstanceNumber)
        end
    end
    local list = assignments(changes, names)
    if #list > 0 then
        local done, message, code, data = ox.call("RawSetParameterValues", {ParameterList = list})
        if not done then return nil, message, code, data end
    end
    for _, each in ipairs(changes) do
        if each.change == "removed" then
            local done, message, code, data = ox.del(each.name)
            if not done and code ~= NO_SUCH_NAME then return nil, message, code, data end
        end
    end
    return true
end

-- Takes back by hand what a daemon without such changes has done.
local function take_back(now, message, code, data)
    local undone, why = snapshot.apply(now)
    if not undone then
        status.stop(status.PARTLY, nil, ("%s; what was done before is still there: %s")
            :format(status.reason(nil, message, data), why))
    end
    status.stop(status.of(code), nil, status.reason(nil, message, data))
end

-- It was begun, and failed: the daemon takes it back now, or when its time is over.
local function give_up(seconds, message, code, data)
    local reason = status.reason(nil, message, data)
    if not ox.cancel_change() then
        reason = reason .. "; what was done is taken back within " .. text.seconds(seconds)
        status.stop(status.PARTLY, nil, reason)
    end
    status.stop(status.of(code), nil, reason)
end

-- Carries the changes out, all or none; returns the change's name where it is to be confirmed within `seconds`.
function change.apply(changes, now, names, seconds)
    local id, message, code, data = ox.begin_change(seconds or SECONDS)
    if not id and (seconds or not lacks(code)) then
        if lacks(code) then message = "the daemon knows no changes that have to be confirmed" end
        status.stop(status.of(code), nil, status.reason(nil, message, data))
    end
    local done
    done, message, code, data = carry_out(changes, names)
    if not done and id then give_up(seconds or SECONDS, message, code, data) end
    if not done then take_back(now, message, code, data) end
    if seconds or not id then return id end
    done, message, code, data = ox.confirm_change()
    if not done then give_up(SECONDS, message, code, data) end
end

-- Whether the values can be set, as far as that can be known before rows are there.
function change.try(changes, names)
    local list = {}
    for _, each in ipairs(changes) do
        if each.change == "changed" and each.name then
            list[#list + 1] = {Name = each.name, Value = renamed_value(each.to, names)}
        end
    end
    if #list > 0 then assign.values(list, true) end
end

return change
