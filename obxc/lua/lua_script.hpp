// Lua script files.
#pragma once

#include <jansson.h>

/// Whether the second line of this file is "-- obxc: stands alone": such a script takes all words of the
/// command line, options too, and connects by itself (ox.connect).
bool lua_script_stands_alone(const char* path);
/// Runs a Lua script file: `path`, or the first word of `args` when it is null (taken out of the array); the
/// other words are the script's arguments. Returns 0 when the file could be opened (1 when memory ran out),
/// else -1.
int lua_script_run(const char* path, json_t* args);
