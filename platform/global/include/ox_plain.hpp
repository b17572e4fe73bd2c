// Lines from a pipe or a file.
#pragma once

/// Drops the lines that can be read from a pipe or a file at once, as a terminal does on Ctrl-C.
void ox_rl_drop_input(void);
