-- The way to the daemon, and who is asking.

local status = require "ombrix.obx.status"

local connection = {}

local REFUSED = 9001

-- As obxc takes -a: a login with its password, a login that needs none here, or a token.
local function log_in(auth)
    local name, password = auth:match("^([^:]*):(.*)$")
    local ok, message, code = ox.login(name or auth, password)
    if not ok and not name and code > 0 then
        ox.token(auth)
        local user
        user, message, code = ox.get("Device.Users.CurrentUser")
        ok = user and user ~= ""
        if user == "" then message, code = "the login is refused", REFUSED end
    end
    if not ok then status.stop(status.of(code), "login", message) end
end

-- Without -a, and without a file that holds a login, who runs the program is who asks, where the daemon knows them.
local function log_in_as_oneself()
    if os.getenv("OBX_AUTH_FILE") then return end
    local ok, message, code = ox.login()
    if not ok and code < 0 then status.stop(status.of(code), "login", message) end
end

-- Connects and logs in as the options say.
function connection.open(options)
    local seconds = options["request-timeout"]
    ox.timeout = seconds ~= 0 and seconds or nil
    local where = (options.unixpath or options.ssl) and {to = options.unixpath, ssl = options.ssl} or nil
    local ok, message, code = ox.connect(where)
    if not ok then status.stop(status.of(code), options.unixpath, "cannot connect to obxd: " .. message) end
    if options.auth then
        log_in(options.auth)
    else
        log_in_as_oneself()
    end
end

return connection
