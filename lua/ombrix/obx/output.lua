-- What a command has found out, in the form that was asked for.

local text = require "ombrix.obx.text"

local output = {}

local function nothing() end

-- Where records go: add(record), finish(). A record is a table with the fields that `columns` names. Without an option
-- each one is a line, as `line(record)` writes it (nil: a command that is quiet).
function output.open(options, columns, line)
    if options.format then return require("ombrix.obx.formats").open(options.format, columns) end
    local function add(record) io.write(line(record), "\n") end
    return {add = line and add or nothing, finish = nothing}
end

-- The line of a value among others.
function output.assignment(record) return record.path .. "=" .. text.line(record.value) end

return output
