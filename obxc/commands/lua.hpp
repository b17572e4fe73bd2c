// lua and luarecord.
#pragma once

#include "obxc.hpp"

int lua_command(const char* name, json_t* args);
int luarecord_command(const char* name, json_t* args);
