-- obx upgrade: other firmware. The image is checked, confirmed, flashed, and the device restarts into it.

local device = require "ombrix.obx.device"
local progress = require "ombrix.obx.progress"
local status = require "ombrix.obx.status"

local PROGRESS, STATE = "Device.DeviceInfo.UpgradeProgress", "Device.DeviceInfo.UpgradeStatus"
local VERSION = "Device.DeviceInfo.SoftwareVersion"
local STEP = 0.2
local NOT_BEGUN = 5   -- seconds after an order that is refused without a word

-- What Download is to fetch. A file of this host is fetched by its path, so the daemon has to run here.
local function source_of(image)
    if image:find("^%a[%w+.-]*://") then return {FileType = "Firmware", URL = image} end
    local file, message = ox.file(image)
    if not file then status.stop(status.REFUSED, nil, message) end
    if not ox.is_local() then
        status.stop(status.REFUSED, image, "the device is not this host: give a URL that it can fetch")
    end
    return {FileType = "Firmware", URL = "file://" .. file.path, MD5 = file.md5}
end

-- Fetching takes its time: a bound is what the person says, or that the daemon is silent for a minute. No order is
-- given twice.
local function order(params) return ox.call("Download", params, {timeout = ox.timeout or math.huge, once = true}) end

local function download(image, params) return status.check(image, order(params)) end

-- Follows the flashing; true where the device told its end, nil where it went down first.
local function follow(image, bar)
    local flashing, begun = false, ox.now()
    while true do
        local percent, state, code = ox.get(PROGRESS, STATE, {timeout = 5})
        if percent == nil then
            if device.is_gone(code) then return end
            status.stop(status.REFUSED, image, "the device does not tell how far it is: " .. state)
        end
        if state == -1 then break end
        if state < 0 then status.stop(status.REFUSED, image, "the firmware was not flashed") end
        if state == 0 and flashing then return end
        flashing = flashing or state > 0
        if not flashing and ox.now() - begun > NOT_BEGUN then
            status.stop(status.REFUSED, image, "the device has not begun to flash it")
        end
        bar:show(percent)
        ox.sleep(STEP)
    end
    bar:show(100)
    return true
end

-- The device is back: it runs the new version, or it does not.
local function check_version(image, wanted)
    local running = status.check(VERSION, ox.get(VERSION))
    if wanted and running ~= wanted then
        status.stop(status.REFUSED, image, ("the device runs %s, not %s"):format(running, wanted))
    end
end

local function run(words, options)
    local image = words[1]
    local before = device.boot()
    local params = source_of(image)
    params.NeedPreUpdate = true
    local check = download(image, params)
    if check.NewVersion and check.CurrentVersion == check.NewVersion then
        ox.call("Download", {FileType = "Firmware", TransactionID = check.TransactionID}) -- it runs already
        return status.DONE
    end
    params.NeedPreUpdate = false
    check = download(image, params)
    if check.Status ~= 0 then
        params.URL, params.TransactionID = "file://" .. (check.SavedFirmware or ""), check.TransactionID
        local done, message, code, data = order(params)
        -- A device may go down before its answer is out.
        if not done and not device.is_gone(code) then
            status.stop(status.of(code), nil, status.reason(image, message, data))
        end
    end
    local bar = progress.open("Flashing")
    local told = follow(image, bar)
    bar:close()
    if told and not options.wait then return status.DONE end
    device.await_boot(before, options.timeout)
    check_version(image, check.NewVersion)
end

return {
    summary = "flashes firmware; with --wait it ends when the device runs it",
    usage = "IMAGE",
    options = {
        {"    --wait", "until the device is back, and runs the new version"},
        {"    --timeout SECONDS", "bound of the waiting for it (600)"},
    },
    least = 1,
    most = 1,
    words = {"file"},
    run = run,
}
