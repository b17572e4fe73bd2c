// The Lua wrapper: a Lua 5.3 state with the standard libraries and the bindings to the daemon.
#pragma once

#include <jansson.h>

#include <lua.hpp>

#include "ox_jrpcapi.hpp"
#include "ox_str.hpp"

/// A Lua context. `out` receives what the code printed, `err` the text of a failed run; `api` is set by the
/// caller before any code runs and is not owned. The bindings are the table `ox` (docs/lua.md).
struct ox_lua_ctx {
    lua_State* L;
    ox_str* out;
    ox_str* err;
    ox_jrpcapi* api;
};

enum ox_lua_flags {
    OX_LUA_DIRECT_OUTPUT = 1,  ///< print and io.write go straight to standard output instead of `out`
    OX_LUA_STREAM = 2,     ///< `out` is passed on to standard output when the code flushes it or waits, when
                           ///< it has grown large, before the process exits, when the run fails, and when
                           ///< the context is freed
    OX_LUA_READ_ONLY = 4,  ///< bindings that could change the device raise an error
    OX_LUA_CLOSED = 16,    ///< so does what opens or removes files, reads, runs programs, sleeps or exits;
                           ///< what goes to standard error ends up in `out`, too
    OX_LUA_KEEP_EVENTS = 8,  ///< events are left for the process's other readers too
};

/// Runs `run(argument)`, which may wait. Returns false when the wait was left by an interrupt.
using ox_lua_guard = bool (*)(void (*run)(void*), void* argument);

/// A new context, or null when memory runs out.
ox_lua_ctx* ox_lua_init(int flags);
/// Runs `length` bytes of source. `chunk_name` null: "lua". `args`: a JSON array of words given to the chunk
/// as "..." and, with the chunk name at 0, as the global `arg`; null: none. Returns 0, or non-zero with the
/// error in `err`: its message and, for a named chunk, a traceback.
int ox_lua_exec(ox_lua_ctx* ctx, const char* code, size_t length, const char* chunk_name, json_t* args);
/// Sets ox_lua_flags.
void ox_lua_set_flags(ox_lua_ctx* ctx, int flags);
int ox_lua_get_flags(const ox_lua_ctx* ctx);
/// Bound of each request of the bindings in milliseconds (-1: none), where the code sets no other. At first
/// 5000.
void ox_lua_set_timeout(ox_lua_ctx* ctx, int timeout_ms);
/// Every wait of the bindings goes through `guard` (null: they wait without one). After an interrupt the code
/// is left as by ox_lua_stop.
void ox_lua_set_guard(ox_lua_ctx* ctx, ox_lua_guard guard);
/// Makes the running code fail with the error "interrupted!" at its next instruction, through all protected
/// calls and coroutines, until ox_lua_resume. Safe in a signal handler.
void ox_lua_stop(ox_lua_ctx* ctx);
/// The same, but the error is raised once: a protected call may catch it, and what it protects from then on
/// runs. Safe in a signal handler.
void ox_lua_interrupt(ox_lua_ctx* ctx);
/// True from a stop on until ox_lua_resume, or from an interrupt on until its error is raised.
bool ox_lua_stopped(const ox_lua_ctx* ctx);
/// Lets code run again.
void ox_lua_resume(ox_lua_ctx* ctx);
/// Stops the collector, whose finalizers may raise errors, where no protected call stands around what
/// allocates, and lets that take of the memory that is kept back from Lua code. Returns whether the collector
/// ran, for ox_lua_collect.
bool ox_lua_hold(lua_State* L);
/// Lets the collector run again, if it ran.
void ox_lua_collect(lua_State* L, bool ran);
/// Passes on what a streaming context holds back.
void ox_lua_drain(ox_lua_ctx* ctx);
/// Runs what the code gave to ox.atexit, last first; nothing while the code is stopped. Errors are told on
/// standard error.
void ox_lua_finish(ox_lua_ctx* ctx);
/// Finishes, then runs all finalizers and closes the state; `L` is null then. A stop reaches what runs.
void ox_lua_close(ox_lua_ctx* ctx);
/// Whether the context's code is allocating memory just now; `left` is then called when that is done. For a
/// signal handler.
bool ox_lua_in_heap(ox_lua_ctx* ctx, void (*left)(void));
/// Instead of ox_lua_free, for a context whose code was left by a jump: it is never used again, and not
/// freed.
void ox_lua_abandon(ox_lua_ctx* ctx);
/// Closes first. Null-safe.
void ox_lua_free(ox_lua_ctx* ctx);
