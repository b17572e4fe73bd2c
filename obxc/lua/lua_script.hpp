// Lua script files.
#pragma once

#include <jansson.h>

/// Runs a Lua script file: `path`, or the first word of `args` when it is null (taken out of the array); the
/// other words are the script's arguments. Returns 0 when the file could be opened (1 when memory ran out),
/// else -1.
int lua_script_run(const char* path, json_t* args);
