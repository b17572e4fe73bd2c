// The table `ox`: what its parts share.
#pragma once

#include "context.hpp"

/// What a binding holds while Lua errors may leave it; a userdata, so the collector releases what is left.
struct Holder {
    json_t* json;
    ox_jrpcmsg* message;
    int timeout_ms;  ///< of its exchanges; 0: the script's
};

// request.cpp
/// Pushes an empty holder. `options`: the index of the call's table of options, or nothing there (nil); 0:
/// none.
Holder* holder_push(lua_State* L, int options = 0);
/// Releases its values now.
void holder_clear(Holder* holder);
/// Makes `message` (taken over; null raises an error) the holder's one and executes it. False when the answer
/// is an error. Raises an error when it was interrupted.
bool exchange(lua_State* L, Holder* holder, ox_jrpcmsg* message);
/// The result's member of that name, borrowed; null where it is missing.
json_t* result_member(const Holder* holder, const char* name);
/// Pushes nil, message, code and error data of the holder's message, or raises them in strict mode. The
/// message names the first reason.
int failure(lua_State* L, Holder* holder);
int failure_text(lua_State* L, const char* text, int code);
/// Raises the failure, in strict mode or not.
int raise_failure(lua_State* L, Holder* holder);
/// Replaces the argument (a text, or an object of ox.object) by a path as the daemon takes it; returns it.
const char* check_path(lua_State* L, int index);
/// Adds {"Name": `name`} to the array and returns it, borrowed.
json_t* add_named(lua_State* L, json_t* list, const char* name);
void request_open(lua_State* L);

// json.cpp
/// Pushes the Lua value of a JSON value. With `indexes`, members named by a number get integer keys.
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

// json_encode.cpp, json_decode.cpp
int json_encode(lua_State* L);
int json_decode(lua_State* L);

// values.cpp
/// Pushes the value of the parameter at `path`; false (nothing is pushed) when the holder has an error.
bool push_value(lua_State* L, Holder* holder, const char* path);
/// Adds the entries of the table at `index`, nested tables as objects below, to a list of names and values.
void add_values(lua_State* L, int index, json_t* list, const char* prefix);
void values_open(lua_State* L);

// model.cpp
void model_open(lua_State* L);
/// Calls the method with its arguments at `index` (nil there: none) and pushes a table of its outputs; false
/// (nothing is pushed) when the holder has an error.
bool execute(lua_State* L, Holder* holder, const char* path, int index);

// events.cpp
void events_open(lua_State* L);

// object.cpp
/// The path of an object of ox.object, or null for any other value.
const char* object_path(lua_State* L, int index);
void object_open(lua_State* L);

/// Makes the global `ox`.
void bindings_open(lua_State* L);
