-- obx confirm: what was changed for a time stays.

local status = require "ombrix.obx.status"

local function run(words, options)
    local finish = options.cancel and ox.cancel_change or ox.confirm_change
    status.check(words[1], finish(words[1]))
end

return {
    summary = "keeps what obx apply --confirm has changed, or takes it back",
    usage = "[CHANGE]",
    options = {{"    --cancel", "takes it back at once"}},
    most = 1,
    words = {},
    run = run,
}
