// Changes that the daemon takes back unless they are confirmed, and requests that only try.
#pragma once

#include "request.hpp"

/// The option of calls that can be dry runs.
inline constexpr const char DRY_RUN_OPTION[] = "dry_run";

/// Where the call is to be a dry run, makes sure that the daemon knows them: else it would do what it is
/// asked. 0 when it does, or the number of results to return.
int dry_run_refused(lua_State* L, const Holder* holder);
/// Marks the request as a dry run where the call is to be one. Null-safe; returns `message`.
ox_jrpcmsg* dry_run_mark(const Holder* holder, ox_jrpcmsg* message);
/// Has the request belong to the change that Lua code has begun.
void change_name(lua_State* L, ox_jrpcmsg* message);
void change_open(lua_State* L);
