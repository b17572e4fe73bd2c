// Lua mode: the interactive loop.
#pragma once

/// Runs Lua mode until the person leaves it. Returns 0.
int lua_mode(void);
