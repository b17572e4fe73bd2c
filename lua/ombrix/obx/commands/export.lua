-- obx export: what can be written below a path, as a file that `obx apply` takes.

local config_file = require "ombrix.obx.config_file"
local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local function run(words, options)
    local snapshot = require "ombrix.snapshot"
    local path = text.path(words[1] or "Device.")
    local taken = status.check(path, snapshot.take(path))
    if not options.format then return config_file.write(taken, io.stdout) end
    local out = output.open(options, {"path", "value"})
    for _, entry in ipairs(config_file.entries(taken)) do out.add(entry) end
    out.finish()
end

return {
    summary = "the configuration as a file: rows and what can be written",
    usage = "[PATH]",
    most = 1,
    words = {"object"},
    run = run,
}
