-- How a command ends: its exit status, and the one line that tells why.

local status = {DONE = 0, REFUSED = 1, USAGE = 2, AWAY = 3, LATE = 4, PARTLY = 5}

local TIMED_OUT, LAST_SOCKET_ERROR = -11, -99 -- further down lie the codes of the protocol itself

-- The exit status for an error's code, as the bindings give it.
function status.of(code)
    if code == TIMED_OUT then return status.LATE end
    if code and code < 0 and code >= LAST_SOCKET_ERROR then return status.AWAY end
    return status.REFUSED
end

-- Ends the command: `subject` (a path, a file; nil for none) and why.
function status.stop(number, subject, reason)
    error({status = number, line = subject and subject .. ": " .. reason or reason}, 0)
end

function status.usage(reason) status.stop(status.USAGE, nil, reason) end

-- "PATH: reason" for each path that the daemon names, in order; or what was asked for, and the message.
function status.reason(...) return require("ombrix.obx.reason")(...) end

-- The results of a binding; its failure ends the command.
function status.check(subject, ...)
    local value, message, code, data = ...
    if value ~= nil then return ... end
    status.stop(status.of(code), nil, status.reason(subject, message, data))
end

return status
