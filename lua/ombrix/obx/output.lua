-- What a command has found out, in the form that was asked for.
--
-- A record is a table with the fields that `columns` names. Without an option each record is a line, as `line(record)`
-- writes it (nil: a command that is quiet). Records are written as they come; only --table has to see all of them.

local text = require "ombrix.obx.text"

local output = {}

local formats = {}

function formats.json()
    local begun = false
    local function add(record)
        io.write(begun and ",\n " or "[", ox.json.encode(record))
        begun = true
    end
    return add, function() io.write(begun and "]\n" or "[]\n") end
end

function formats.jsonl()
    return function(record) io.write(ox.json.encode(record), "\n") end
end

-- Rows of cells with a heading; `cell` writes one.
local function rows(columns, cell, separator)
    io.write(table.concat(columns, separator), "\n")
    return function(record)
        local cells = {}
        for i, column in ipairs(columns) do cells[i] = cell(text.of(record[column])) end
        io.write(table.concat(cells, separator), "\n")
    end
end

function formats.csv(columns)
    return rows(columns, function(cell)
        return cell:find('[,"\r\n]') and '"' .. cell:gsub('"', '""') .. '"' or cell
    end, ",")
end

function formats.tsv(columns)
    return rows(columns, function(cell)
        return (cell:gsub("[\t\n\r\\]", {["\t"] = "\\t", ["\n"] = "\\n", ["\r"] = "\\r", ["\\"] = "\\\\"}))
    end, "\t")
end

formats.table = function(columns) return require("ombrix.obx.table_format").open(columns) end

-- Where records go: add(record), finish().
function output.open(options, columns, line)
    local open = formats[options.format]
    local add, finish
    if open then
        add, finish = open(columns)
    elseif line then
        add = function(record) io.write(line(record), "\n") end
    end
    return {add = add or function() end, finish = finish or function() end}
end

-- The line of a value among others.
function output.assignment(record) return record.path .. "=" .. text.line(record.value) end

return output
