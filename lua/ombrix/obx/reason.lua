-- Why the daemon refused something: "PATH: reason" for each path that it names, in order; or what was asked for, and
-- the message.

local function text_of(fault) return type(fault) == "table" and fault.message or fault end

return function(subject, message, data)
    local reasons = {}
    for path, fault in pairs(type(data) == "table" and data or {}) do
        if type(text_of(fault)) == "string" then reasons[#reasons + 1] = path .. ": " .. text_of(fault) end
    end
    table.sort(reasons)
    if #reasons > 0 then return table.concat(reasons, "; ") end
    if not subject then return message end
    -- The daemon's detail is often the path that was asked for.
    if message:sub(-#subject - 2) == ": " .. subject then message = message:sub(1, -#subject - 3) end
    return subject .. ": " .. message
end
