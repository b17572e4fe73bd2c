#include "bindings.hpp"

#include "atexit.hpp"
#include "change.hpp"
#include "connection.hpp"
#include "coroutines.hpp"
#include "elements.hpp"
#include "events.hpp"
#include "files.hpp"
#include "json.hpp"
#include "model.hpp"
#include "object.hpp"
#include "plain.hpp"
#include "regex.hpp"
#include "request.hpp"
#include "screen.hpp"
#include "values.hpp"

void bindings_open(lua_State* L) {
    lua_newtable(L);
    lua_pushvalue(L, -1);
    lua_setfield(L, LUA_REGISTRYINDEX, "ox");
    request_open(L);
    tasks_open(L);
    json_open(L);
    values_open(L);
    model_open(L);
    change_open(L);
    events_open(L);
    atexit_open(L);
    object_open(L);
    plain_open(L);
    connection_open(L);
    elements_open(L);
    files_open(L);
    regex_open(L);
    screen_open(L);
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "strict");
    lua_setglobal(L, "ox");
}
