// Statements of Lua mode: how they are loaded and run, and how their results are shown.
#pragma once

#include <stddef.h>

#include "ox_lua.hpp"
#include "ox_str.hpp"

/// What one visit to Lua mode keeps of its results.
struct LuaResults {
    int table_ref;    ///< registry reference of the table of results, -1 while there is none
    int count;        ///< results printed so far
    bool global_set;  ///< the global `_` was set by the program at least once
};

enum LuaOutcome {
    LUA_STATEMENT_RAN,
    LUA_STATEMENT_FAILED,      ///< it does not load
    LUA_STATEMENT_INCOMPLETE,  ///< it ends too early
    LUA_STATEMENT_INTERRUPTED,
};

/// Forgets the results of an earlier visit.
void lua_results_begin(LuaResults* results);
/// Loads and runs a statement, with the table of results in the global `_`.
LuaOutcome lua_statement_run(ox_lua_ctx* ctx, LuaResults* results, const char* source, size_t length);
/// Removes the global `_` again.
void lua_results_hide(ox_lua_ctx* ctx, const LuaResults* results);
