-- The options of a command line.
--
-- An option is what its help shows: {"-e, --every SECONDS", "what it does"}. Without a word in capitals behind its name
-- it is a flag; SECONDS are a number. Options may stand before and behind words; "--" ends them.

local options = {}

-- Those that every command takes.
options.COMMON = {
    {"-u, --unixpath PATH", "the daemon's socket, or tcp://HOST:PORT"},
    {"    --ssl", "TLS; the certificate is verified"},
    {"-a, --auth LOGIN:PASSWORD|TOKEN", "logs in"},
    {"-t, --request-timeout SECONDS", "bound of each request (5)"},
    {"    --json", "one JSON document: an array of objects"},
    {"    --jsonl", "a JSON object a line"},
    {"    --csv", "comma-separated values with a heading"},
    {"    --tsv", "the same with tabs; \\t, \\n, \\r and \\\\ in values"},
    {"    --table", "aligned columns"},
    {"-h, --help", "tells how the command is used"},
}

local FORMATS = {json = true, jsonl = true, csv = true, tsv = true, table = true}

local function fail(reason) require("ombrix.obx.status").usage(reason) end

-- The letter (or ""), the name and the value's name (or "") of an option.
function options.parts(option) return option[1]:match("^[%s-]*(%a?),?%s*%-%-([%a-]+) ?(.*)$") end

-- The option that a letter or a name stands for: its name, and its value's name where it takes one.
function options.find(lists, wanted)
    for _, list in ipairs(lists) do
        for _, option in ipairs(list) do
            local letter, name, value = options.parts(option)
            if wanted == letter or wanted == name then return name, value ~= "" and value or nil end
        end
    end
end

local function set(found, name, kind, text)
    if kind == "SECONDS" then
        local seconds = tonumber(text)
        if not seconds or seconds ~= seconds or seconds < 0 then fail(text .. ": a number of seconds expected") end
        text = seconds
    elseif FORMATS[name] then
        if found.format and found.format ~= name then fail(("--%s and --%s at once"):format(found.format, name)) end
        found.format = name
    end
    found[name] = text
end

-- Takes the word at `index`, and the next one where that is its value; returns the index of the last one taken.
local function take(lists, found, words, index)
    local word = words[index]
    local wanted, given = word:match("^%-%-([^=]+)=?(.*)$")
    if not wanted then
        wanted, given = word:match("^%-(.)(.*)$")
    elseif not word:find("=", 1, true) then
        given = nil
    end
    local shown = word:sub(1, 2) == "--" and "--" .. wanted or "-" .. wanted
    local name, kind = options.find(lists, wanted)
    if not name then fail("there is no option " .. shown) end
    if not kind then
        if given and shown:sub(1, 2) == "--" then fail(shown .. " takes no value") end
        set(found, name, nil, true)
        if not given or given == "" then return index end
        words[index] = "-" .. given -- further letters
        return take(lists, found, words, index)
    end
    if not given or given == "" and #shown == 2 then
        index = index + 1
        given = words[index]
    end
    if not given then fail(("%s needs a value: %s"):format(shown, kind)) end
    set(found, name, kind, given)
    return index
end

-- Sorts words from `first` on into `found` (by name) and a list of the others. With `only_leading` it stops at the
-- first word that is no option, and returns its index as well.
function options.parse(lists, words, first, found, only_leading)
    local rest, index = {}, first
    while index <= #words do
        local word = words[index]
        if word == "--" then
            table.move(words, index + 1, #words, #rest + 1, rest)
            break
        elseif word:find("^%-.") then
            index = take(lists, found, words, index)
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
