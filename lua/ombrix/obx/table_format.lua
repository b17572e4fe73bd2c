-- Records as aligned columns: characters that take two columns, or none, are counted as the terminal shows them.

local text = require "ombrix.obx.text"

local table_format = {}

local function cell_of(value)
    local line = text.line(value)
    return utf8.len(line) and line or ox.plain(line)
end

-- add(record), finish(): nothing is written before the last record is there.
function table_format.open(columns)
    local rows, widths = {}, {}
    local function add_row(cells)
        rows[#rows + 1] = cells
        for i, cell in ipairs(cells) do widths[i] = math.max(widths[i] or 0, ox.width(cell)) end
    end
    local heading = {}
    for i, column in ipairs(columns) do heading[i] = column:upper() end
    add_row(heading)
    local function add(record)
        local cells = {}
        for i, column in ipairs(columns) do cells[i] = cell_of(record[column]) end
        add_row(cells)
    end
    local function finish()
        for _, cells in ipairs(rows) do
            for i, cell in ipairs(cells) do
                io.write(cell, i < #cells and (" "):rep(widths[i] - ox.width(cell) + 2) or "\n")
            end
        end
    end
    return add, finish
end

return table_format
