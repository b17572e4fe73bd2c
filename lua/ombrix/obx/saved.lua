-- What was saved, as obx itself remembers it: the daemon shows the configuration that runs, not the one of the next
-- start. `obx save` keeps a copy where it may.

local status = require "ombrix.obx.status"

local saved = {}

local function directory()
    local home = os.getenv("HOME")
    return home and home ~= "" and home .. "/.local/obxc" or nil
end

-- The copy's name; ends the command where there is none.
function saved.path()
    local path = directory() and directory() .. "/saved.conf"
    local file = path and io.open(path)
    if not file then status.stop(status.REFUSED, nil, "what was saved is not known: obx save keeps it") end
    file:close()
    return path
end

-- Keeps the configuration that runs; what cannot be kept is no failure of the saving.
function saved.keep()
    local place = directory()
    if not place then return end
    local config_file = require "ombrix.obx.config_file"
    local taken = require("ombrix.snapshot").take("Device.")
    if not taken then return end
    local name = place .. "/saved.conf"
    local file = io.open(name .. ".new", "w")
    if not file then
        os.execute("mkdir -p -m 700 '" .. place:gsub("'", "'\\''") .. "' 2>/dev/null")
        file = io.open(name .. ".new", "w")
    end
    if not file then return end
    config_file.write(taken, file)
    if file:close() then os.rename(name .. ".new", name) end
end

return saved
