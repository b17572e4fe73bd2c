// The interactive shell.
#pragma once

/// Runs the shell until its end: 0, or -1 when the data-model cache cannot be set up.
int shell_loop(void);
