-- The page of a node: its type, range, units, references and description.
--
--   local doc = require "ombrix.doc"
--   doc "Device.WiFi.Radio.1.Channel"

local doc = {}

-- The page as a text of lines for a screen of `columns` (the terminal's, or 80); nil, a message and the error's code
-- where the daemon refuses it.
function doc.page(path, columns)
    return ox.page(path, columns or tonumber(os.getenv("COLUMNS")))
end

-- Prints the pages of nodes, a blank line between them.
function doc.print(...)
    for index, path in ipairs{...} do
        local text, message = doc.page(path)
        if index > 1 then print() end
        print(text or path .. ": " .. message)
    end
end

return setmetatable(doc, {__call = function(_, ...) doc.print(...) end})
