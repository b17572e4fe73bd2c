-- obx reboot: restarts the device.

local device = require "ombrix.obx.device"
local status = require "ombrix.obx.status"

local function run(words, options)
    local before = device.boot()
    local done, message, code, data =
        ox.call("Reboot", {Force = options.force or nil, DeviceMode = words[1]}, {once = true})
    -- A device may be gone before its answer is out.
    if not done and not (options.wait and device.is_gone(code)) then
        status.stop(status.of(code), nil, status.reason("reboot", message, data))
    end
    if options.wait then device.await_boot(before, options.timeout) end
end

return {
    summary = "restarts the device; with --wait it ends when the device is back",
    usage = "[MODE]",
    options = {
        {"    --wait", "until the device is back"},
        {"    --timeout SECONDS", "bound of the waiting (600)"},
        {"-f, --force", "also while firmware is flashed"},
    },
    most = 1,
    words = {"mode"},
    run = run,
}
