// Statements of Lua mode as a recording holds them.
#pragma once

#include <lua.hpp>

#include "ox_str.hpp"

/// The statement as a script file can hold it: an expression is printed, text that does not load becomes a
/// comment. A new buffer.
ox_str* lua_statement_for_script(lua_State* L, const char* source);
/// The statement as a line of the shell ("lua ..."), a comment in its place where a script of shell lines
/// would not give it back whole. A new buffer.
ox_str* lua_statement_for_line(lua_State* L, const char* source);
