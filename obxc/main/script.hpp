// Script files: shell commands, one a line.
#pragma once

/// Runs the file at `path` (null: standard input) up to its end or the first negative result. `interactive` 0
/// dispatches as request mode does, else as the shell does. Returns the last handler's result, -1 when the
/// file cannot be opened.
int script_run(const char* path, int interactive);
/// Whether a physical line, without its newline, goes on with the next one. Looks at this line only.
bool script_line_continues(const char* line);
