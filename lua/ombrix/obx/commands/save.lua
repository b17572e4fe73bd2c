-- obx save: the configuration that runs is the one of the next start.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"

local function run(words, options)
    status.check(words[1], ox.call("SaveConfig", {RestorePointName = words[1]}))
    require("ombrix.obx.saved").keep(options)
    local out = output.open(options, {"saved"})
    out.add{saved = words[1] or ""}
    out.finish()
end

return {
    summary = "saves the configuration, under a name as a restore point as well",
    usage = "[NAME]",
    most = 1,
    words = {"restore point"},
    run = run,
}
