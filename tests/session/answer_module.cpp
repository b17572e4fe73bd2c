// A Lua module in C, for a module directory.
#include <lua.hpp>

namespace {

int answer(lua_State* L) {
    lua_pushinteger(L, luaL_checkinteger(L, 1) * 2);
    return 1;
}

volatile bool endless = true;

/// Never comes back.
int spin(lua_State*) {
    while (endless) {
    }
    return 0;
}

}  // namespace

extern "C" int luaopen_ombrix_answer(lua_State* L) {
    static const luaL_Reg functions[] = {{"twice", answer}, {"spin", spin}, {nullptr, nullptr}};
    luaL_newlib(L, functions);
    return 1;
}
