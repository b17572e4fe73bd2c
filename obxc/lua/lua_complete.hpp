// Completion in Lua mode: keywords, modules, and the fields of what an expression names.
//
// The expression before the last separator is evaluated, calls and all. That changes nothing: the bindings,
// other programs, files and the end of the process are refused meanwhile, nothing is read from the terminal,
// what it prints is dropped, and its time is bounded.
#pragma once

#include <jansson.h>

#include "ox_lua.hpp"

/// Characters between which a word to be completed stands.
inline constexpr const char* LUA_WORD_BOUNDARIES = " \t\n`@$><=;|&{(";

/// The context that the other functions work on; null for none.
void lua_complete_use(ox_lua_ctx* ctx);
/// The line editor's callback.
void lua_complete(const char* line, int cursor, json_t* candidates);

/// Tells that a module was loaded or made a global, below the line once the completion is over.
void lua_complete_tell(const char* what, const char* module);
