// The Lua wrapper as its own files see it.
//
// Lua is a C library and its errors are longjmps: no function that a Lua error can leave holds anything in a
// C++ object with a destructor. What must be released lies in a Holder, which the collector releases.
#pragma once

#include <stdio.h>

#include "ox_lua.hpp"

struct LuaContext : ox_lua_ctx {
    int flags;
    FILE* capture;       ///< the stream that ends up in `out`
    bool by_lines;       ///< standard output was told to write line by line
    lua_State* running;  ///< the coroutine that runs, which a stop has to reach; null: nothing runs any more
    volatile int stopped;
    volatile int once;  ///< the stop is over when its error has been raised
    ox_lua_guard guard;
    volatile int in_heap;              ///< a block is being allocated or freed
    void (*volatile heap_left)(void);  ///< called once when that is done, or null
    LuaContext* abandoned;             ///< the one that was given up before this one
    bool holds;               ///< ox_lua_hold: what allocates is no Lua code, and may take of the reserve
    size_t taken;             ///< bytes that were allocated since the reserve was last seen
    int timeout_ms;           ///< of a request, where a script sets no other
    bool hands_on;            ///< an exchange hands on what it reads: its connection is not free
    bool yields;              ///< the coroutine that runs gives way in its waits
    const lua_State* paused;  ///< the coroutine that was last kept from spinning, for all
    long long paused_end;     ///< when that ended, ox_wait_now_ms
    json_t* kept;       ///< texts of the events that other readers get when the context is freed, or null
    size_t kept_bytes;  ///< of these texts
};

LuaContext* context_of(lua_State* L);

/// Raises the error that a stop raises.
int stop_error(lua_State* L);
/// Runs `run(argument)` under the context's guard. False when it was interrupted: the caller has to end with
/// stop_error.
bool run_guarded(lua_State* L, void (*run)(void*), void* argument);
/// The same; raises the error itself.
void guarded(lua_State* L, void (*run)(void*), void* argument);
/// Raises an error while the context is read-only.
void require_writable(lua_State* L);
/// Raises an error while the context is closed.
void require_open(lua_State* L);
/// Makes the code that runs fail at its next instruction. Null-safe.
void stop_soon(lua_State* L);
/// A stop that was asked for reaches the coroutine that is about to run, and the one that goes on afterwards.
void stop_follow(lua_State* from, lua_State* to);
