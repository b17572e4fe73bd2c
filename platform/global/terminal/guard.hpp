// Key mode: the terminal's modes while it gives single keys, and the signals that arrive meanwhile: for a new
// size, a stop and its end, the end of the program, a hang-up.
#pragma once

/// To be called before key mode is set, and after it.
void guard_before(void);
void guard_on(void);
void guard_off(void);
/// Whether the terminal showed what is typed before it gave single keys: readline shows it only then.
bool guard_echoes(void);
/// Whether the size has changed, or the program was stopped and goes on, since the last call.
bool guard_take_resize(void);
bool guard_take_resume(void);
/// Whether a read of the terminal gives what is there, and does not wait.
bool guard_reads_at_once(void);
/// The same as ox_rl_yield_signals.
void guard_yield(void (*handler)(int));
/// The signal that ended the input: SIGHUP when the terminal went away, or SIGTERM. 0: neither.
int guard_hung_up(void);
