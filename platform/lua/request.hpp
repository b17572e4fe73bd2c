// Requests on behalf of Lua code, and how their failures are told.
#pragma once

#include <string_view>

#include "context.hpp"

/// What a binding holds while Lua errors may leave it; a userdata, so the collector releases what is left.
struct Holder {
    json_t* json;
    ox_jrpcmsg* message;
    int timeout_ms;  ///< of its exchanges; 0: the script's
    bool marked;     ///< the option that the call has of its own is set
    bool once;       ///< its requests are not sent again when the connection is lost
};

/// Pushes an empty holder. `options`: the index of the call's table of options, or nothing there (nil); 0:
/// none. `mark` is the name of an option that this call has of its own, null for none.
Holder* holder_push(lua_State* L, int options = 0, const char* mark = nullptr);
/// Releases its values now.
void holder_clear(Holder* holder);
/// Bound of a request in milliseconds: what ox.timeout says, or the context's; -1: none.
int script_timeout(lua_State* L);
/// Makes `message` (taken over; null raises an error) the holder's one and executes it. False when the answer
/// is an error. Raises an error when it was interrupted. `taker`, where there is one, is handed the elements
/// of the answer's list.
bool exchange(lua_State* L, Holder* holder, ox_jrpcmsg* message, const ox_list_taker* taker = nullptr);
/// The result's member of that name, borrowed; null where it is missing.
json_t* result_member(const Holder* holder, const char* name);
/// The list of the result, borrowed; null where it is missing.
json_t* result_list(const Holder* holder);
/// Pushes nil, message, code and error data of the holder's message, or raises them in strict mode. The
/// message names the first reason.
int failure(lua_State* L, Holder* holder);
int failure_text(lua_State* L, const char* text, int code);
/// Raises the failure, in strict mode or not.
int raise_failure(lua_State* L, Holder* holder);
/// Replaces the argument (a text, or an object of ox.object) by a path as the daemon takes it; returns it.
const char* check_path(lua_State* L, int index);
/// Pushes a path with "#template" in the place of each component that `picks` is true for.
const char* push_template_path(lua_State* L, const char* path, bool (*picks)(std::string_view component));
/// Adds {"Name": `name`} to the array and returns it, borrowed.
json_t* add_named(lua_State* L, json_t* list, const char* name);
void request_open(lua_State* L);
