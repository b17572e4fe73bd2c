-- A device that goes down and comes back.

local status = require "ombrix.obx.status"

local device = {}

local UP_TIME = "Device.DeviceInfo.UpTime"
local STEP = 0.2
local SLACK = 1.5   -- seconds by which two clocks may differ
local USUAL = 600
local PASSING = {[-1] = true, [-4] = true, [-5] = true, [-7] = true, [-11] = true}

-- Whether an error's code is that of a device that is down, or goes down.
function device.is_gone(code) return PASSING[code] or false end

-- What tells this boot from another one.
function device.boot() return {up = ox.get(UP_TIME), at = ox.now()} end

-- Waits until the device answers after another boot than `before`.
function device.await_boot(before, seconds)
    local finish = ox.now() + (seconds or USUAL)
    local gone = false
    repeat
        ox.sleep(STEP)
        local up, message, code = ox.get(UP_TIME, {timeout = 2})
        if up == nil and not device.is_gone(code) then status.stop(status.of(code), UP_TIME, message) end
        gone = gone or up == nil
        local due = before.up and before.up + (ox.now() - before.at) - SLACK
        if up and (gone or due and up < due) then return end
    until ox.now() >= finish
    status.stop(status.LATE, nil, ("the device has not %s in time"):format(gone and "come back" or "gone down"))
end

return device
