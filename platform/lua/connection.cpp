// Where the script's connection leads, and who it is logged in as.
#include "connection.hpp"

#include <string.h>

#include "ox_auth_file.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_user.hpp"
#include "request.hpp"

namespace {

enum { LOGIN_REFUSED = 9001, LINE_SIZE = 512, USER_SIZE = 1024 };

ox_jrpcapi* connection_of(lua_State* L) {
    ox_jrpcapi* api = context_of(L)->api;
    if (!api) luaL_error(L, "there is no connection to the daemon");
    return api;
}

struct Attempt {
    ox_jrpcapi* api;
    const char* login;  ///< null: only connect
    const char* password;
    int result;
};

void run_attempt(void* argument) {
    auto* attempt = static_cast<Attempt*>(argument);
    attempt->result = attempt->login ? ox_jrpcapi_login(attempt->api, attempt->login, attempt->password)
                                     : ox_jrpcapi_connect(attempt->api);
}

/// True, or how it failed; `refusal` is the text of what the daemon refuses.
int try_attempt(lua_State* L, Attempt attempt, const char* refusal) {
    int usual = ox_jrpcapi_get_timeout(attempt.api);
    ox_jrpcapi_set_timeout(attempt.api, script_timeout(L));
    bool done = run_guarded(L, run_attempt, &attempt);
    ox_jrpcapi_set_timeout(attempt.api, usual);
    if (!done) return stop_error(L);
    int code = attempt.result;
    if (code != 0) return failure_text(L, code < 0 ? ox_socket_strerror(code) : refusal, code);
    lua_pushboolean(L, 1);
    return 1;
}

/// Takes the destination and the layer that the options at 1 name.
void take_destination(lua_State* L, ox_jrpcapi* api) {
    luaL_checktype(L, 1, LUA_TTABLE);
    luaL_argcheck(L, !ox_jrpcapi_socket(api), 1, "the script is connected already");
    lua_getfield(L, 1, "to");
    luaL_argcheck(L, lua_isnil(L, -1) || lua_isstring(L, -1), 1, "'to' is a path or tcp://HOST:PORT");
    if (!lua_isnil(L, -1)) {
        ox_jrpcapi_set_destination(api, nullptr, lua_tostring(L, -1), OX_SOCKET_LOCAL);
    }
    lua_getfield(L, 1, "ssl");
    if (lua_toboolean(L, -1)) ox_jrpcapi_set_flags(api, ox_jrpcapi_get_flags(api) | OX_JRPCAPI_SSL);
    lua_pop(L, 2);
}

/// ox.connect([{to = destination, ssl = boolean}]): true, and whether there was no connection before.
int connect(lua_State* L) {
    require_writable(L);
    ox_jrpcapi* api = connection_of(L);
    if (!lua_isnoneornil(L, 1)) take_destination(L, api);
    bool fresh = !ox_jrpcapi_socket(api);
    int results = try_attempt(L, {api, nullptr, nullptr, 0}, nullptr);
    if (results > 1) return results;
    lua_pushboolean(L, fresh);
    return 2;
}

/// ox.login([name [, password]]): without a name as the user who runs the program, over the local socket.
int login(lua_State* L) {
    require_writable(L);
    ox_jrpcapi* api = connection_of(L);
    const char* name = luaL_optstring(L, 1, nullptr);
    const char* password = luaL_optstring(L, 2, nullptr);
    char entry[USER_SIZE];
    if (!name) {
        bool local = ox_socket_type(ox_jrpcapi_socket(api)) == OX_SOCKET_LOCAL;
        name = local ? ox_user_name(entry, sizeof(entry)) : nullptr;
        if (!name) return failure_text(L, "a login needs a name here", LOGIN_REFUSED);
    }
    return try_attempt(L, {api, name, password, 0}, "the login is refused");
}

/// ox.token(text): what every later request carries; "" for nothing.
int token(lua_State* L) {
    require_writable(L);
    ox_jrpcapi_set_auth(connection_of(L), 0, luaL_checkstring(L, 1), 0, OX_JRPCAPI_TIMEOUT_MS);
    return 0;
}

/// ox.auth_file(): what the file holds that OBX_AUTH_FILE names, as -a takes it; nil where it names none, nil
/// and why where the file cannot be used.
int auth_file(lua_State* L) {
    require_open(L);
    const char* path = ox_auth_file();
    if (!path) return 0;
    char line[LINE_SIZE];
    const char* why = ox_auth_file_read(path, line, sizeof(line));
    if (why) {
        lua_pushnil(L);
        lua_pushfstring(L, "cannot use OBX_AUTH_FILE %s: %s", path, why);
        return 2;
    }
    lua_pushstring(L, line);
    explicit_bzero(line, sizeof(line));
    return 1;
}

/// ox.is_local(): whether the daemon runs on this host, and so sees its files.
int is_local(lua_State* L) {
    lua_pushboolean(L, ox_socket_type(ox_jrpcapi_socket(connection_of(L))) == OX_SOCKET_LOCAL);
    return 1;
}

}  // namespace

void connection_open(lua_State* L) {
    static const luaL_Reg functions[] = {{"connect", connect},   {"login", login},
                                         {"token", token},       {"auth_file", auth_file},
                                         {"is_local", is_local}, {nullptr, nullptr}};
    luaL_setfuncs(L, functions, 0);
}
