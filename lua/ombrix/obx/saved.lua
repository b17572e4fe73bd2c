-- What was saved, as obx itself remembers it: the daemon shows the configuration that runs, not the one of the next
-- start. `obx save` keeps a copy where it may.

local status = require "ombrix.obx.status"

local saved = {}

local DEFAULT = "/var/run/obxd.sock"

-- A text as part of a file's name.
local function part(value)
    return (value:gsub("[^%w._-]", function(byte) return ("%%%02X"):format(byte:byte()) end))
end

-- The daemon's address as it is from everywhere.
local function address(options)
    local socket = os.getenv("OBXD_SOCKET")
    local place = options.unixpath or socket ~= "" and socket or DEFAULT
    if place:find("^/") or place:find("^%a+://") then return place end
    return (os.getenv("PWD") or "") .. "/" .. place
end

-- Where copies lie, and the name of the one of this device: another at the same address has another serial number.
local function place_of(options)
    local home = os.getenv("HOME")
    if not home or home == "" then return nil end
    local directory = home .. "/.local/obxc/saved"
    local serial = ox.get("Device.DeviceInfo.SerialNumber")
    local name = part(address(options)) .. (type(serial) == "string" and "@" .. part(serial) or "")
    return directory, directory .. "/" .. name .. ".conf"
end

-- The copy's name; ends the command where there is none.
function saved.path(options)
    local _, path = place_of(options)
    local file = path and io.open(path)
    if not file then status.stop(status.REFUSED, nil, "what was saved is not known: obx save keeps it") end
    file:close()
    return path
end

-- Keeps the configuration that runs; what cannot be kept is no failure of the saving.
function saved.keep(options)
    local directory, name = place_of(options)
    if not directory then return end
    local config_file = require "ombrix.obx.config_file"
    local taken = require("ombrix.snapshot").take("Device.")
    if not taken then return end
    local file = io.open(name .. ".new", "w")
    if not file then
        os.execute("mkdir -p -m 700 '" .. directory:gsub("'", "'\\''") .. "' 2>/dev/null")
        file = io.open(name .. ".new", "w")
    end
    if not file then return end
    config_file.write(taken, file)
    if file:close() then os.rename(name .. ".new", name) end
end

return saved
