// Lines from a pipe or a file.
#pragma once

/// Drops the lines that a pipe or a file holds ready, as a terminal does on Ctrl-C.
void ox_rl_drop_input(void);
