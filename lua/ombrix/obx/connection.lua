-- The way to the daemon, and who is asking.

local status = require "ombrix.obx.status"

local connection = {}

-- Connects and logs in as the options say. Without -a, and without a file that holds a login, who runs the program is
-- who asks, where the daemon knows them. A connection that is there already, of `obxc -S`, is taken as it is.
function connection.open(options)
    local seconds = options["request-timeout"]
    ox.timeout = seconds ~= 0 and seconds or nil
    local where = (options.unixpath or options.ssl) and {to = options.unixpath, ssl = options.ssl} or nil
    local ok, fresh, code = ox.connect(where)
    if not ok then status.stop(status.of(code), options.unixpath, "cannot connect to obxd: " .. fresh) end
    local auth, reason = options.auth, nil
    if not auth and fresh then auth, reason = ox.auth_file() end
    if reason then status.stop(status.REFUSED, nil, reason) end
    if auth then return require("ombrix.obx.login")(auth) end
    if not fresh then return end
    local message
    ok, message, code = ox.login()
    if not ok and code < 0 then status.stop(status.of(code), "login", message) end
end

return connection
