-- Requests that change values.

local status = require "ombrix.obx.status"

local assign = {}

-- Whether the daemon knows dry runs. One that does not would change what it is to check, so that is found out first, by
-- a change that no daemon can begin: its time-out is out of range.
function assign.require_dry_runs()
    local _, message, code = ox.call("BeginChange", {Timeout = 0})
    if code == -32601 or code == 9000 then status.stop(status.REFUSED, nil, "the daemon knows no dry runs") end
    if code and code < 0 and status.of(code) ~= status.REFUSED then status.stop(status.of(code), nil, message) end
end

-- The results of a request that changes something; `what` is not known where it got no answer.
function assign.check_change(subject, what, ...)
    local value, message, code, data = ...
    if value ~= nil then return ... end
    if status.of(code) ~= status.REFUSED then message = message .. ": " .. what end
    return status.check(subject, nil, message, code, data)
end

-- Sets {Name, Value} pairs whose values are texts, in one request.
function assign.values(list, dry_run)
    if dry_run then assign.require_dry_runs() end
    local subject = #list == 1 and list[1].Name or nil
    assign.check_change(subject, "whether it was set is not known",
        ox.call("RawSetParameterValues", {ParameterList = ox.json.array(list), DryRun = dry_run or nil}))
end

return assign
