// A Lua context in this program, and how Ctrl-C leaves the code that runs in it.
//
// Lua's own calls are jumped over as a last resort alone. A wait inside a binding is left by a jump to the
// binding, code that runs by an error from a debug hook; both unwind to the caller of Lua, who then jumps to
// where the interrupt leads.
#pragma once

#include "ox_lua.hpp"
#include "ox_str.hpp"

/// A context on the request channel that finds the modules of the module directory. Null when memory runs
/// out.
ox_lua_ctx* lua_context_new(void);
/// Leaves what standard input holds behind a line that Lua code reads to the one who reads on: without a
/// buffer.
void lua_share_input(void);
/// Writes the text of an error to standard output, without a newline; it cannot steer a terminal.
void lua_error_write(const ox_str* text);
/// The SIGINT handler while Lua code runs: nothing unless the interrupt is armed. The third one jumps from
/// wherever the code is, also out of a module in C that does not come back; the watched context is abandoned
/// then.
void lua_interrupt(int signal);
/// True once after that: where the jump lands, the context is gone.
bool lua_abandoned(void);
/// The context whose code lua_interrupt stops; null for none.
void lua_interrupt_watch(ox_lua_ctx* ctx);
/// For a program whose own signal handlers stop the context's code and then call shell_interrupt: the waits
/// of the code are left by that, although the interrupt is not armed. Null ends it.
void lua_interrupt_waits(ox_lua_ctx* ctx);
/// True when the run that just ended was left by Ctrl-C, or Ctrl-C waits for its point.
bool lua_interrupted(const ox_lua_ctx* ctx);
/// Jumps to the interrupt's context. Nothing may be held that a destructor would release.
[[noreturn]] void lua_jump_back(void);
