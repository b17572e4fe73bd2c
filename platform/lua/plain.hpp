// Texts of others on a terminal: ox.plain.
#pragma once

#include "context.hpp"

/// Called with the table `ox` on top.
void plain_open(lua_State* L);
