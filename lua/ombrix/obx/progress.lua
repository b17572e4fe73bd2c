-- A bar on standard error, where that is a terminal.

local progress = {}

local WIDTH = 40

local Bar = {}
Bar.__index = Bar

function Bar:show(percent)
    if not self.shown then return end
    percent = math.max(0, math.min(100, percent))
    local full = percent * WIDTH // 100
    io.stderr:write(("\r%s [%s%s] %3d %%"):format(self.label, ("#"):rep(full), (" "):rep(WIDTH - full), percent))
    self.open = true
end

-- Its row is left.
function Bar:close()
    if self.open then io.stderr:write("\n") end
    self.open = false
end

function progress.open(label) return setmetatable({label = label, shown = ox.terminal(io.stderr) ~= nil}, Bar) end

return progress
