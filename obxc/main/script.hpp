// Script files: shell commands, one a line.
#pragma once

/// Runs the file at `path` (null: standard input) up to its end or the first negative result. `interactive` 0
/// dispatches as request mode does, else as the shell does. Returns the last handler's result, -1 when the
/// file cannot be opened.
int script_run(const char* path, int interactive);
