-- Sorts names so that their numbers count as numbers; returns them.

local function padded(digits) return ("0"):rep(20 - #digits) .. digits end

return function(names)
    local keys = {}
    for _, name in ipairs(names) do keys[name] = tostring(name):gsub("%d+", padded) end
    table.sort(names, function(a, b) return keys[a] < keys[b] end)
    return names
end
