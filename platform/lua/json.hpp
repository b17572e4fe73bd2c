// Lua values and JSON values: `ox.json`, and what the other bindings turn.
#pragma once

#include "context.hpp"

/// Pushes the Lua value of a JSON value. With `indexes`, members named by an instance number get integer
/// keys.
void json_to_lua(lua_State* L, json_t* json, bool indexes = false);
/// Adds the value at `index` to an object under `key`, or to an array when `key` is null. Raises an error for
/// what JSON cannot hold.
void json_add(lua_State* L, int index, json_t* container, const char* key);
void push_null(lua_State* L);
/// Whether a table is an array in JSON: its keys are exactly 1 to n, or it is empty and marked as one.
bool is_json_array(lua_State* L, int index);
/// Pushes the metatable that marks arrays.
void push_array_mark(lua_State* L);
/// Whether ox.json.array marked the table.
bool is_marked_array(lua_State* L, int index);
bool is_null(lua_State* L, int index);
void json_open(lua_State* L);
