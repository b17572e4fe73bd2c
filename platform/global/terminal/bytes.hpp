// The bytes of standard input, one by one: what follows a finished line may belong to the command that it
// starts.
#pragma once

#include <stdio.h>

/// The next byte of standard input, -1 at its end; OX_RL_NO_KEY where a terminal in key mode has none.
int bytes_read(void);
/// The next byte of a terminal in key mode, OX_RL_NO_KEY where there is none or where a Ctrl-C is to be taken
/// first.
int bytes_at_hand(void);
/// Whether one waits that was read already.
bool bytes_kept(void);
/// Bytes that can be read without waiting where standard input is no terminal.
int bytes_in_pipe(void);
/// The next byte for readline (its getc function): the key that it was fed, then what follows that key.
int bytes_for_readline(FILE* unused);
