-- How a command ends: its exit status, and the one line that tells why.

local status = {DONE = 0, REFUSED = 1, USAGE = 2, AWAY = 3, LATE = 4, PARTLY = 5}

local TIMED_OUT = -11
local LAST_SOCKET_ERROR = -99 -- further down lie the codes of the protocol itself

-- The exit status for an error's code, as the bindings give it.
function status.of(code)
    if code == TIMED_OUT then return status.LATE end
    if code and code < 0 and code >= LAST_SOCKET_ERROR then return status.AWAY end
    return status.REFUSED
end

-- A text as one line that steers no terminal.
local function one_line(text) return (ox.plain(text):gsub("[\t\n]+", " ")) end

-- Ends the command: `subject` (a path, a file; nil for none) and why.
function status.stop(number, subject, reason)
    error({status = number, line = one_line(subject and subject .. ": " .. reason or reason)}, 0)
end

function status.usage(reason) status.stop(status.USAGE, nil, reason) end

local function reason_of(fault) return type(fault) == "table" and fault.message or fault end

-- "PATH: reason" for each path that the daemon names, in order; or what was asked for, and the message.
function status.reason(subject, message, data)
    local reasons = {}
    for path, fault in pairs(type(data) == "table" and data or {}) do
        if type(reason_of(fault)) == "string" then reasons[#reasons + 1] = path .. ": " .. reason_of(fault) end
    end
    table.sort(reasons)
    if #reasons > 0 then return table.concat(reasons, "; ") end
    if not subject then return message end
    -- The daemon's detail is often the path that was asked for.
    if message:sub(-#subject - 2) == ": " .. subject then message = message:sub(1, -#subject - 3) end
    return subject .. ": " .. message
end

-- The results of a binding; its failure ends the command.
function status.check(subject, ...)
    local value, message, code, data = ...
    if value ~= nil then return ... end
    status.stop(status.of(code), nil, status.reason(subject, message, data))
end

return status
