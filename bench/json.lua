-- Milliseconds that ox.json and lua-cjson take for the same values: a name and four figures a line (ours and theirs to
-- encode, ours and theirs to decode), each the least of several rounds, interleaved.
local cjson = require "cjson"

local function round(f, value)
    collectgarbage()
    local start = os.clock()
    f(value)
    return (os.clock() - start) * 1000
end

local function measure(ours, theirs, value)
    local a, b = math.huge, math.huge
    for _ = 1, 9 do a, b = math.min(a, round(ours, value)), math.min(b, round(theirs, value)) end
    return a, b
end

local records, integers, floats, texts, names = {}, {}, {}, {}, {}
for i = 1, 3000 do
    records[i] = {HostName = "phone-" .. i, IPAddress = "192.168.1." .. i % 256, Active = i % 2 == 0, LeaseTime = i * 60,
                  SignalStrength = -50.5 - i % 7, Note = 'a "quoted" line\n'}
end
for i = 1, 50000 do
    integers[i], floats[i], texts[i] = i * 7919, i / 3, "Device.WiFi.Radio." .. i .. ".Channel"
end
for i = 1, 20000 do names["Device.Hosts.Host." .. i .. ".HostName"] = "name" .. i end
local long = {("x"):rep(1000000), ("\u{fc}"):rep(300000)}

for _, case in ipairs{{"records", records}, {"integers", integers}, {"floats", floats}, {"texts", texts},
                      {"names", names}, {"long texts", long}} do
    local text = cjson.encode(case[2])
    local a, b = measure(ox.json.encode, cjson.encode, case[2])
    local c, d = measure(ox.json.decode, cjson.decode, text)
    print(("%s\t%.3f\t%.3f\t%.3f\t%.3f"):format(case[1], a, b, c, d))
end
