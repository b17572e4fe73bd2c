// What Lua code prints.
#pragma once

#include "context.hpp"

/// Replaces print, os.exit and what writes, and makes io.stdout the captured stream.
void output_open(LuaContext* context);
/// Lets io.stdout and print write where the flags say.
void output_apply(LuaContext* context);
/// Brings what was written so far into `out`.
void output_sync(LuaContext* context);
/// Passes `out` on to standard output.
void output_drain(LuaContext* context);
/// Shows what was printed so far, where a script streams: to be called before a wait for somebody who reads
/// it.
void output_show(LuaContext* context);
void output_close(LuaContext* context);
