#include "wrapped.hpp"

int call_original(lua_State* L) {
    return lua_tocfunction(L, lua_upvalueindex(1))(L);
}

void wrap_field(lua_State* L, const char* name, lua_CFunction function) {
    lua_getfield(L, -1, name);
    lua_pushcclosure(L, function, 1);
    lua_setfield(L, -2, name);
}
