-- The program: finds the command, reads its options, runs it, and tells what went wrong.

-- The other modules lie beside this one: looking for them elsewhere first costs as much as reading them.
local _, file = ...
package.path = file:gsub("ombrix/obx/program%.lua$", "?.lua;") .. package.path

local options = require "ombrix.obx.options"
local status = require "ombrix.obx.status"

local program = {}

program.COMMANDS = "get set add del call find watch wait export diff apply confirm upgrade reboot save doc"
    .. " help complete"

local function load_command(name)
    if (" " .. program.COMMANDS .. " "):find(" " .. name .. " ", 1, true) then
        return require("ombrix.obx.commands." .. name)
    end
    local command, message = require("ombrix.obx.catalogue").load(name)
    return command or status.usage(message or ("there is no command '%s': obx help lists them"):format(name))
end

local function check_words(name, command, words)
    local few = #words < (command.least or 0)
    local many = command.most and #words > command.most
    if not few and not many then return end
    status.usage(("too %s words: usage: obx %s %s"):format(few and "few" or "many", name, command.usage or ""))
end

local function run_command(words)
    local found = {}
    local _, at = options.parse({options.COMMON}, words, 1, found, true)
    local name = words[at] or "help"
    local command = load_command(name)
    local rest = options.parse({options.COMMON, command.options or {}}, words, at + 1, found)
    if found.help then command, rest = load_command("help"), {words[at]} end
    check_words(name, command, rest)
    if not command.offline then require("ombrix.obx.connection").open(found) end
    return command.run(rest, found)
end

local function trace(err)
    if type(err) == "table" and err.status then return err end
    if tostring(err):find("interrupted!", 1, true) then return {interrupted = err} end
    return {status = status.REFUSED, line = debug.traceback(tostring(err), 2)}
end

-- A text as one line that steers no terminal.
local function tell(line)
    io.stderr:write("obx: ", (ox.plain(line):gsub("[\t\n]+", " ")), "\n")
end

-- Runs the words of a command line; returns the exit status.
function program.run(words)
    local done, result = xpcall(run_command, trace, words)
    local written, reason = io.stdout:flush()
    if not done then
        if result.interrupted then error(result.interrupted, 0) end
        tell(result.line)
        return result.status
    end
    if not written then
        tell("standard output: " .. reason)
        return status.REFUSED
    end
    return result or status.DONE
end

return program
