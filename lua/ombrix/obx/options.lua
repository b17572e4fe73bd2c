-- The options of a command line.
--
-- An option is {name = "every", short = "e", value = "SECONDS", number = true, help = "..."}; without `value` it is a
-- flag. Options may stand before and behind words; "--" ends them.

local status = require "ombrix.obx.status"

local options = {}

-- Those that every command takes.
options.COMMON = {
    {name = "unixpath", short = "u", value = "PATH", help = "the daemon's socket, or tcp://HOST:PORT"},
    {name = "ssl", help = "TLS; the certificate is verified"},
    {name = "auth", short = "a", value = "LOGIN:PASSWORD|TOKEN", help = "logs in"},
    {name = "request-timeout", short = "t", value = "SECONDS", number = true, help = "bound of each request (5)"},
    {name = "json", format = true, help = "one JSON document: an array of objects"},
    {name = "jsonl", format = true, help = "a JSON object a line"},
    {name = "csv", format = true, help = "comma-separated values with a heading"},
    {name = "tsv", format = true, help = "the same with tabs; \\t, \\n, \\r and \\\\ in values"},
    {name = "table", format = true, help = "aligned columns"},
    {name = "help", short = "h", help = "tells how the command is used"},
}

local function find(lists, field, name)
    for _, list in ipairs(lists) do
        for _, option in ipairs(list) do
            if option[field] == name then return option end
        end
    end
end

local function number_of(option, text)
    local number = tonumber(text)
    if not number or number ~= number or number < 0 then
        status.usage(("%s: a number of %s expected"):format(text, option.value:lower()))
    end
    return number
end

-- Takes the option's value: what follows "=", or the next word.
local function take_value(option, shown, given, words, index)
    if not option.value then
        if given then status.usage(shown .. " takes no value") end
        return true, index
    end
    if not given then
        index = index + 1
        given = words[index]
    end
    if not given then status.usage(("%s needs a value: %s"):format(shown, option.value)) end
    return option.number and number_of(option, given) or given, index
end

local function set(found, option, value)
    if option.format then
        if found.format and found.format ~= option.name then
            status.usage(("--%s and --%s at once"):format(found.format, option.name))
        end
        found.format = option.name
    else
        found[option.name] = value
    end
end

-- "-Ex": each letter an option, the last one with the rest as its value.
local function take_letters(lists, found, word, words, index)
    for at = 2, #word do
        local letter = word:sub(at, at)
        local option = find(lists, "short", letter)
        if not option then status.usage("there is no option -" .. letter) end
        local rest = option.value and at < #word and word:sub(at + 1) or nil
        local value
        value, index = take_value(option, "-" .. letter, rest, words, index)
        set(found, option, value)
        if rest then break end
    end
    return index
end

local function take_name(lists, found, word, words, index)
    local name, given = word:match("^%-%-([^=]+)=(.*)$")
    name = name or word:sub(3)
    local option = find(lists, "name", name)
    if not option then status.usage("there is no option --" .. name) end
    local value
    value, index = take_value(option, "--" .. name, given, words, index)
    set(found, option, value)
    return index
end

-- Sorts words from `first` on into `found` (by name) and a list of the others. With `only_leading` it stops at the
-- first word that is no option, and returns its index as well.
function options.parse(lists, words, first, found, only_leading)
    local rest = {}
    local index = first
    while index <= #words do
        local word = words[index]
        if word == "--" then
            table.move(words, index + 1, #words, #rest + 1, rest)
            break
        elseif word:find("^%-%-.") then
            index = take_name(lists, found, word, words, index)
        elseif word:find("^%-.") then
            index = take_letters(lists, found, word, words, index)
        elseif only_leading then
            break
        else
            rest[#rest + 1] = word
        end
        index = index + 1
    end
    return rest, index
end

return options
