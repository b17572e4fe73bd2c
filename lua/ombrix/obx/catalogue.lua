-- The commands that there are. Each one's own table lies in ombrix/obx/commands, a user's in
-- ~/.local/obxc/commands/NAME.lua; it is loaded when it is needed:
--
--   return {
--       summary = "what it does", usage = "PATH...",
--       options = {{"    --every SECONDS", "..."}},
--       least = 1, most = 2,                      -- words that it takes; no bound where one is missing
--       words = {"path"},                         -- what Tab offers for each; the last one stands for the rest
--       offline = true,                           -- it connects to no daemon, or by itself
--       run = function(words, options) ... end,   -- returns an exit status (none: 0)
--   }

local program = require "ombrix.obx.program"

local catalogue = {}

-- The names of the program's own commands, and which they are.
catalogue.NAMES = {}
local own = {}
for name in program.COMMANDS:gmatch("%a+") do
    own[name] = true
    if name ~= "complete" then catalogue.NAMES[#catalogue.NAMES + 1] = name end
end

local function directory()
    local home = os.getenv("HOME")
    return home and home ~= "" and home .. "/.local/obxc/commands/" or nil
end

-- The names of the user's own commands, sorted.
function catalogue.users()
    local names = {}
    for _, path in ipairs(directory() and ox.glob(directory() .. "*.lua") or {}) do
        local name = path:match("([%w_-]+)%.lua$")
        if name and not own[name] then names[#names + 1] = name end
    end
    return names
end

-- The command's table; nil where there is no such command, nil and a message where the user's file is wrong.
function catalogue.load(name)
    if own[name] then return require("ombrix.obx.commands." .. name) end
    if not directory() or not name:find("^[%w_-]+$") then return nil end
    local path = directory() .. name .. ".lua"
    local file = io.open(path)
    if not file then return nil end
    file:close()
    local chunk, message = loadfile(path)
    if not chunk then return nil, message end
    local done, command = pcall(chunk)
    if not done then return nil, tostring(command) end
    local right = type(command) == "table" and type(command.run) == "function"
    if not right then return nil, path .. ": it returns no command" end
    return command
end

return catalogue
