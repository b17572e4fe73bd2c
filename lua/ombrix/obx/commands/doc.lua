-- obx doc: the page of a node.

local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local function run(words, options)
    local columns = ox.terminal() or tonumber(os.getenv("COLUMNS")) or 80
    local out = options.format and output.open(options, {"path", "type", "access", "description"})
    for index, word in ipairs(words) do
        local path = text.path(word)
        if out then
            local attributes = status.check(path, ox.attrs(path, {details = true}))
            attributes.path = path
            out.add(attributes)
        else
            if index > 1 then io.write("\n") end
            io.write((status.check(path, ox.page(path, columns)):gsub("\n*$", "\n")))
        end
    end
    if out then out.finish() end
end

return {
    summary = "a node's page: type, range, units, description",
    usage = "PATH...",
    least = 1,
    words = {"path"},
    run = run,
}
