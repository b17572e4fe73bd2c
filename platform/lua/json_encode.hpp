// `ox.json.encode`.
#pragma once

#include <lua.hpp>

int json_encode(lua_State* L);
