// The Lua wrapper: a Lua 5.3 state with the standard libraries and the bindings to the daemon.
#pragma once

#include <jansson.h>

#include <lua.hpp>

#include "ox_jrpcapi.hpp"
#include "ox_str.hpp"

/// A Lua context. `out` receives what the code printed, `err` the text of a failed run; `api` is set by the
/// caller before any code runs and is not owned.
struct ox_lua_ctx {
    lua_State* L;
    ox_str* out;
    ox_str* err;
    ox_jrpcapi* api;
};

enum ox_lua_flags {
    OX_LUA_DIRECT_OUTPUT = 1,  ///< print and io.write go straight to standard output instead of `out`
};

/// A new context, or null when memory runs out.
ox_lua_ctx* ox_lua_init(int flags);
/// Runs `length` bytes of source. `chunk_name` null: "lua". `args`: a JSON array of words given to the chunk
/// as "..." and, with the chunk name at 0, as the global `arg`; null: none. Returns 0, or non-zero with the
/// error in `err`: its message and, for a named chunk, a traceback.
int ox_lua_exec(ox_lua_ctx* ctx, const char* code, size_t length, const char* chunk_name, json_t* args);
/// Switches between direct and captured output.
void ox_lua_set_flags(ox_lua_ctx* ctx, int flags);
/// Null-safe.
void ox_lua_free(ox_lua_ctx* ctx);
