-- obx help: the commands, or one of them.

local catalogue = require "ombrix.obx.catalogue"
local options = require "ombrix.obx.options"
local status = require "ombrix.obx.status"

local function write_options(list)
    for _, option in ipairs(list) do io.write(("  %-34s %s\n"):format(option[1], option[2] or "")) end
end

local function write_command(name)
    local command, message = catalogue.load(name)
    if not command then status.usage(message or ("there is no command '%s'"):format(name)) end
    io.write(("Usage: obx %s [options] %s\n\n%s\n"):format(name, command.usage or "", command.summary or ""))
    if command.options and #command.options > 0 then
        io.write("\nOptions:\n")
        write_options(command.options)
    end
    io.write("\nOptions of all commands: obx help\n")
end

local function write_list(names)
    for _, name in ipairs(names) do
        local command, message = catalogue.load(name)
        io.write(("  %-10s %s\n"):format(name, command and command.summary or message or ""))
    end
end

local function write_all()
    io.write("obx: the data model of the device for scripts.\n\n")
    io.write("Usage: obx [options] COMMAND [options] [words]\n\nCommands:\n")
    write_list(catalogue.NAMES)
    local users = catalogue.users()
    if #users > 0 then
        io.write("\nYour own commands (~/.local/obxc/commands):\n")
        write_list(users)
    end
    io.write("\nOptions of all commands:\n")
    write_options(options.COMMON)
    io.write([[

Exit status: 0 done and true, 1 refused or false, 2 usage, 3 no connection, 4 time-out, 5 partly done.
Environment: OBXD_SOCKET, OBX_AUTH_FILE, OBX_CA_FILE, NO_COLOR.
]])
end

local function run(words)
    if words[1] then
        write_command(words[1])
    else
        write_all()
    end
end

return {
    summary = "the commands, or one of them",
    usage = "[COMMAND]",
    most = 1,
    words = {"command"},
    offline = true,
    run = run,
}
