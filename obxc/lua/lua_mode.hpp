// Lua mode: the interactive loop.
#pragma once

/// Runs Lua mode until the person leaves it. The line editor is lent to it: without the callbacks and the
/// history of the one who lends it. Returns 0.
int lua_mode(void);
