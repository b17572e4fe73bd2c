// What a person is told while the daemon keeps the program waiting.
#pragma once

/// From now on a wait for the daemon that lasts two seconds is told of on the terminal: a passing note, which
/// goes when the wait ends. Nothing is written where standard output is no terminal.
void patience_init(void);
/// Takes back the note of a wait that was left by a jump. The terminal has shown the Ctrl-C behind it: it is
/// shown again where the cursor then stands.
void patience_leave(void);
