// `ox.json.decode`.
#pragma once

#include <lua.hpp>

int json_decode(lua_State* L);
