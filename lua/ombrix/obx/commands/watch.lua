-- obx watch: a line for each change. Events tell of changes at once; what has no events is found when it is read again.

local output = require "ombrix.obx.output"
local sort = require "ombrix.obx.sort"
local status = require "ombrix.obx.status"
local text = require "ombrix.obx.text"

local VALUE_CHANGES, MODEL_CHANGES = 1, 4
local USUAL_PAUSE, LEAST_PAUSE = 1, 0.05

-- A Lua pattern for what lies at or below a path.
local function pattern_of(path)
    local escaped = path:gsub("%.$", ""):gsub("[%^%$%(%)%%%.%[%]%+%-%?]", "%%%0"):gsub("%*", "%%d+")
    return "^" .. escaped .. "$", "^" .. escaped .. "%."
end

local function covers(patterns, name)
    for _, pattern in ipairs(patterns) do
        if name:find(pattern) then return true end
    end
    return false
end

local function same(a, b) return a == b or type(a) == "table" and type(b) == "table" and text.of(a) == text.of(b) end

local Watch = {}
Watch.__index = Watch

function Watch:tell(change, path, value)
    self.out.add{time = os.date("!%Y-%m-%dT%H:%M:%SZ"), change = change, path = path, value = value}
    io.stdout:flush()
end

function Watch:take_value(name, value)
    if self.values[name] == nil or same(self.values[name], value) then return end
    self.values[name] = value
    self:tell("changed", name, value)
end

-- The outermost row that a name lies in and `rows` does not hold; where there is none, the name itself.
local function row_of(name, rows)
    for number, at in name:gmatch("%.(%d+)()%.") do
        local row = name:sub(1, at)
        if number and not rows[row] then return row end
    end
    return name
end

local function note_rows(name, rows)
    for _, at in name:gmatch("%.(%d+)()%.") do rows[name:sub(1, at)] = true end
end

-- What came or went between two readings, a row as one change.
function Watch:tell_each(change, names, rows)
    local told = {}
    for _, name in ipairs(sort(names)) do
        local row = row_of(name, rows)
        if not told[row] then self:tell(change, row) end
        told[row] = true
    end
end

-- Reads everything. At first that is what changes are compared with.
function Watch:read(first)
    local values, rows, came, went = {}, {}, {}, {}
    local count, message, code, data = ox.each(self.paths, function(name, value)
        values[name] = value
        note_rows(name, rows)
        if self.values[name] == nil then
            came[#came + 1] = name
        else
            self:take_value(name, value)
        end
    end)
    if not count then return nil, message, code, data end
    for name in pairs(self.values) do
        if values[name] == nil then went[#went + 1] = name end
    end
    if not first then
        self:tell_each("added", came, self.rows)
        self:tell_each("deleted", went, rows)
    end
    self.values, self.rows = values, rows
    return true
end

function Watch:join()
    ox.on(VALUE_CHANGES, function(event)
        local path = type(event) == "table" and event.Path
        if path and covers(self.patterns, path) then self:take_value(path, event.Value) end
    end)
    ox.on(MODEL_CHANGES, function(event)
        local path = type(event) == "table" and event.Path
        if not path then return end
        if event.Action == "Add" then path = ("%s%d."):format(path, event.InstanceNumber) end
        if covers(self.patterns, path) then self.stale = true end
    end)
end

-- What is lost with the connection is found by reading again; a daemon that restarts is waited for.
function Watch:step(pause)
    local stale = ox.wait(function() return self.stale end, pause)
    if stale == nil then ox.sleep(math.min(pause, 0.2)) end
    self.stale = false
    local done, message, code, data = self:read(false)
    if not done and status.of(code) == status.REFUSED then
        status.stop(status.REFUSED, nil, status.reason(nil, message, data))
    end
end

local function line(record)
    if record.change == "changed" then return output.assignment(record) end
    return record.path .. " " .. record.change
end

local function run(words, options)
    local patterns = {}
    for i, word in ipairs(words) do
        words[i] = text.path(word)
        patterns[2 * i - 1], patterns[2 * i] = pattern_of(words[i])
    end
    local out = output.open(options, {"time", "change", "path", "value"}, line)
    local watch = setmetatable({paths = words, patterns = patterns, values = {}, out = out}, Watch)
    watch:join()
    status.check(#words == 1 and words[1] or nil, watch:read(true))
    while true do watch:step(math.max(options.every or USUAL_PAUSE, LEAST_PAUSE)) end
end

return {
    summary = "a line for each change, of values and of rows",
    usage = "PATH...",
    options = {
        {"    --every SECONDS", "how often what has no events is read again (1)"},
    },
    least = 1,
    words = {"path"},
    run = run,
}
