-- obx add: a row with its first values; a row that fails leaves nothing.

local assign = require "ombrix.obx.assign"
local output = require "ombrix.obx.output"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local COLUMNS = {"path"}

local function entries_of(words, row)
    local list = {}
    for i = 2, #words do
        local name, value = text.assignment(words[i])
        if not name or name == "" then status.usage(words[i] .. ": NAME=VALUE expected") end
        list[#list + 1] = {Name = row .. name, Value = value}
    end
    return list
end

-- The row is there, its values were refused: it goes again.
local function take_back(row, message, code, data)
    local gone, why, other = ox.del(row)
    if not gone and other ~= 9005 then
        status.stop(status.PARTLY, row, ("was added, its values were not set (%s), and it is still there (%s)")
            :format(message, why))
    end
    status.stop(status.of(code), nil, status.reason(row, message, data))
end

local function run(words, options)
    local parent = text.path(words[1])
    if parent:sub(-1) ~= "." then parent = parent .. "." end
    entries_of(words, parent)
    local answer = assign.check_change(parent, "whether a row was added is not known",
        ox.call("AddObject", {ObjectName = parent}, {once = true}))
    local row = ("%s%d."):format(parent, answer.InstanceNumber)
    local list = entries_of(words, row)
    if #list > 0 then
        local done, message, code, data = ox.call("RawSetParameterValues", {ParameterList = list})
        if not done then take_back(row, message, code, data) end
    end
    local out = output.open(options, COLUMNS, function(record) return record.path end)
    out.add{path = row}
    out.finish()
end

return {
    summary = "adds a row and prints its path; a row whose values are refused goes again",
    usage = "TABLE [NAME=VALUE...]",
    least = 1,
    words = {"table", "column"},
    run = run,
}
