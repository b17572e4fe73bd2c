-- obx apply: makes the configuration that of a file, all of it or nothing.

local change = require "ombrix.obx.change"
local config_file = require "ombrix.obx.config_file"
local diff = require "ombrix.obx.commands.diff"
local difference = require "ombrix.obx.difference"
local status = require "ombrix.obx.status"

local MOST_SECONDS = 3600

local function run(words, options)
    local seconds = options.confirm
    if seconds and (seconds <= 0 or seconds > MOST_SECONDS) then status.usage("--confirm takes 1 to 3600 seconds") end
    local changes, now, names = difference.find(config_file.read(words[1]))
    if options["dry-run"] then
        diff.write(changes, options)
        if #changes > 0 then change.try(changes, names) end
        return status.DONE
    end
    if #changes > 0 then
        local id = change.apply(changes, now, names, seconds)
        if seconds then io.write(id, "\n") end
    end
    if options.verbose or options.format then diff.write(changes, options) end
    return status.DONE
end

return {
    summary = "makes the configuration that of a file, all of it or nothing",
    usage = "FILE",
    options = {
        {"    --dry-run", "tells what would change, and changes nothing"},
        {"    --confirm SECONDS", "taken back unless obx confirm comes in time"},
        {"-v, --verbose", "tells what was changed"},
    },
    least = 1,
    most = 1,
    words = {"file"},
    run = run,
}
