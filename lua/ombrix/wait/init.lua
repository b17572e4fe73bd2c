-- Waiting until a value of the device is as wanted.
--
--   local wait = require "ombrix.wait"
--   wait.wait_until("Device.WiFi.Radio.1.Status", "Up", 10)

local wait = {}

-- Waits until `predicate` holds for the value at `path`: a function of the value, or the value that is wanted.
-- `timeout` is in seconds (none: no bound). Returns the value, or nil, a message and the error's code.
function wait.wait_until(path, predicate, timeout)
    local wanted = predicate
    if type(predicate) ~= "function" then
        predicate = function(value) return value == wanted end
    end
    local value, message, code
    local found = ox.wait(function()
        value, message, code = ox.get(path)
        return (value == nil and message ~= nil) or predicate(value)
    end, timeout)
    if value == nil and message then return nil, message, code end
    if not found then return nil, "time-out", -11 end
    return value
end

return wait
