-- obx complete: what can stand in the place of the last of the words that standard input holds, a line each: a word, or
-- a word, a tab and what it is for; ":files" stands for the names of files. The shells' completion asks this; the words
-- are no arguments, since there may be a password among them.

local catalogue = require "ombrix.obx.catalogue"
local options = require "ombrix.obx.options"

local PATIENCE = 0.05

-- Nothing that would be another line, or steer the terminal.
local function offer(word, about)
    if not word:find("%c") then io.write(word, about and "\t" .. about or "", "\n") end
end

local function begins(text, typed) return text:sub(1, #typed) == typed end

-- The option that a word is, where its value is the next word: {name, kind = the value's name}.
local function awaits_value(lists, word)
    local name, kind = options.find(lists, word:match("^%-(%a)$") or word:match("^%-%-([^=]+)$"))
    return kind and {name = name, kind = kind}
end

-- The command, its words before the last one, the options that were given, and the one that awaits its value.
local function read(words)
    local line = {words = {}, given = {}, lists = {options.COMMON}}
    for i = 1, #words - 1 do
        local word = words[i]
        if line.awaiting then
            line.given[line.awaiting.name], line.awaiting = word, nil
        elseif word == "--ssl" then
            line.given.ssl = true
        elseif begins(word, "-") then
            line.awaiting = awaits_value(line.lists, word)
            local name, value = word:match("^%-%-([^=]+)=(.*)$")
            if name then line.given[name] = value end
        elseif not line.command then
            line.name, line.command = word, catalogue.load(word) or {}
            line.lists[2] = line.command.options
        else
            line.words[#line.words + 1] = word
        end
    end
    return line
end

local function offer_commands(typed)
    for _, names in ipairs{catalogue.NAMES, catalogue.users()} do
        for _, name in ipairs(names) do
            local command = begins(name, typed) and catalogue.load(name)
            if command then offer(name, command.summary) end
        end
    end
end

local function offer_options(lists, typed)
    for _, list in ipairs(lists) do
        for _, option in ipairs(list) do
            local _, name = options.parts(option)
            if begins("--" .. name, typed) then offer("--" .. name, option[2]) end
        end
    end
end

local function offer_model(kind, line, typed)
    local offers = require "ombrix.obx.offers"
    if not offers[kind] then return end
    line.given["request-timeout"] = tonumber(os.getenv("OBX_COMPLETION_TIMEOUT")) or PATIENCE
    if kind ~= "operator" then require("ombrix.obx.connection").open(line.given) end
    offers[kind](typed, line.words, offer)
end

-- Nothing is told of what goes wrong here: there is nothing to offer then.
local function run()
    local words = {}
    for word in io.lines() do words[#words + 1] = word end
    local line, typed = read(words), words[#words] or ""
    local kinds = line.command and line.command.words or {}
    local kind = kinds[#line.words + 1] or kinds[#kinds]
    if line.awaiting then
        if line.awaiting.kind == "PATH" then offer(":files") end
    elseif begins(typed, "-") then
        offer_options(line.lists, typed)
    elseif not line.command then
        offer_commands(typed)
    elseif kind == "file" then
        offer(":files")
    elseif kind == "command" then
        offer_commands(typed)
    elseif kind then
        pcall(offer_model, kind, line, typed)
    end
end

return {summary = "what can stand in the place of a word", most = 0, offline = true, run = run}
