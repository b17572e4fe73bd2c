-- Logs in as obxc takes -a: a login with its password, a login that needs none here, or a token.

local status = require "ombrix.obx.status"

local REFUSED = 9001

return function(auth)
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
