-- Records as JSON, separated values or a table. They are written as they come; only a table has to see all of them.

local text = require "ombrix.obx.text"

local formats = {}

local openers = {}

function openers.json()
    local begun = false
    local function add(record)
        io.write(begun and ",\n " or "[", ox.json.encode(record))
        begun = true
    end
    return add, function() io.write(begun and "]\n" or "[]\n") end
end

function openers.jsonl()
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

function openers.csv(columns)
    return rows(columns, function(cell)
        return cell:find('[,"\r\n]') and '"' .. cell:gsub('"', '""') .. '"' or cell
    end, ",")
end

function openers.tsv(columns)
    return rows(columns, function(cell)
        return (cell:gsub("[\t\n\r\\]", {["\t"] = "\\t", ["\n"] = "\\n", ["\r"] = "\\r", ["\\"] = "\\\\"}))
    end, "\t")
end

function openers.table(columns) return require("ombrix.obx.table_format").open(columns) end

-- Where records go: add(record), finish().
function formats.open(name, columns)
    local add, finish = openers[name](columns)
    return {add = add, finish = finish or function() end}
end

return formats
