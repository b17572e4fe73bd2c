-- Waiting until a value of the device is as wanted.
--
--   local wait = require "ombrix.wait"
--   wait.wait_until("Device.WiFi.Radio.1.Status", "Up", 10)

local wait = {}

local STEP = 0.2            -- seconds between two tries while the daemon is away
local LEAST, USUAL = 1, 5   -- seconds that a request may take

-- Errors of a daemon that restarts, or of a network that is away for a while: a later request may succeed.
local passing = {[-1] = true, [-4] = true, [-5] = true, [-7] = true, [-11] = true}

-- Waits until `predicate` holds for the value at `path`: a function of the value, or the value that is wanted.
-- `timeout` is in seconds (none: no bound). Returns the value, or nil, a message and the error's code. A daemon that
-- is away, or restarts, is waited for.
function wait.wait_until(path, predicate, timeout)
    local wanted = predicate
    if type(predicate) ~= "function" then
        predicate = function(value) return value == wanted end
    end
    local finish = timeout and ox.now() + timeout
    local value, message, code
    local function left() return finish and math.max(finish - ox.now(), 0) end
    local function ask()
        local seconds = left()
        local options = seconds and seconds < USUAL and {timeout = math.max(seconds, LEAST)} or {}
        value, message, code = ox.try(ox.get, path, options)
        if value == nil and message then return not passing[code] end
        return predicate(value)
    end
    while true do
        local found = ox.try(ox.wait, ask, left())
        if found and value == nil and message then return nil, message, code end
        if found then return value end
        -- nil: the connection of events is lost, and opened anew by a later call.
        local seconds = left()
        if found == false or seconds == 0 then return nil, "time-out", -11 end
        ox.sleep(math.min(STEP, seconds or STEP))
    end
end

return wait
