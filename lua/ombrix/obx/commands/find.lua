-- obx find: names and values that hold a text.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local function matcher(wanted, options)
    if options.regex then
        local matches, reason = ox.regex(wanted, not options.case)
        if not matches then status.usage(wanted .. ": " .. reason) end
        return matches
    end
    if options.case then return function(found) return found:find(wanted, 1, true) ~= nil end end
    wanted = wanted:lower()
    return function(found) return found:lower():find(wanted, 1, true) ~= nil end
end

local function run(words, options)
    local matches = matcher(words[1], options)
    local under = text.path(words[2] or ".")
    local out = output.open(options, {"path", "value"}, output.assignment)
    local found = false
    status.check(under, ox.each(under, function(name, value)
        if not matches(name) and not matches(text.of(value)) then return end
        found = true
        out.add{path = name, value = value}
    end, {readable = true}))
    out.finish()
    return found and status.DONE or status.REFUSED
end

return {
    summary = "names and values that hold a text",
    usage = "TEXT [UNDER]",
    options = {
        {"-E, --regex", "TEXT is an extended regular expression"},
        {"    --case", "capitals and small letters differ"},
    },
    least = 1,
    most = 2,
    words = {"text", "object"},
    run = run,
}
