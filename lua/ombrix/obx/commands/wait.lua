-- obx wait: until a condition holds, through restarts of the daemon.

local condition = require "ombrix.obx.condition"
local connection = require "ombrix.obx.connection"
local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local STEP = 0.2
local LATE = -11

-- A daemon that is away is waited for; what it refuses is refused. False where the time is over, and it was there.
local function connect(options, left)
    while true do
        local done, err = pcall(connection.open, options)
        if done then return true end
        local late = type(err) == "table" and err.status == status.LATE
        if not late and (type(err) ~= "table" or err.status ~= status.AWAY) then error(err, 0) end
        if left() <= 0 then return not late and error(err, 0) end
        ox.sleep(math.min(STEP, left()))
    end
end

local function run(words, options)
    local path, holds = condition.read(table.concat(words, " "))
    local finish = options.timeout and ox.now() + options.timeout
    local function left() return finish and math.max(finish - ox.now(), 0) or math.huge end
    local bound = options["request-timeout"]
    if finish then options["request-timeout"] = math.max(math.min(bound or 5, left()), 0.05) end
    local value, message, code = nil, nil, LATE
    if connect(options, left) then
        ox.timeout = bound
        value, message, code = require("ombrix.wait").wait_until(path, holds, finish and left())
    end
    if value == nil then
        if code == LATE then message = "not so within " .. text.seconds(options.timeout) end
        status.stop(status.of(code), nil, status.reason(path, message))
    end
    local out = output.open(options, {"path", "value"}, options.verbose and output.assignment or nil)
    out.add{path = path, value = value}
    out.finish()
end

return {
    summary = "waits until a value is as wanted, through restarts of the daemon",
    usage = "'PATH OP VALUE'",
    options = {
        {"    --timeout SECONDS", "not longer"},
        {"-v, --verbose", "prints the value"},
    },
    least = 1,
    words = {"path", "operator", "value"},
    offline = true, -- it connects by itself, and waits for that as well
    run = run,
}
