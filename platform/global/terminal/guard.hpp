// Key mode: the terminal's modes and the signals while it gives single keys. Its size changes, the program is
// stopped, goes on or ends.
#pragma once

/// To be called before key mode is set, and after it.
void guard_before(void);
void guard_on(void);
void guard_off(void);
/// Whether the terminal showed what is typed before it gave single keys: readline shows it only then.
bool guard_echoes(void);
/// Whether it happened since the last call.
bool guard_take_resize(void);
bool guard_take_resume(void);
/// Whether a read of the terminal gives what is there, and does not wait.
bool guard_reads_at_once(void);
/// Whether the terminal went away.
bool guard_hung_up(void);
