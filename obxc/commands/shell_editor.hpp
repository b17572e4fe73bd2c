// Handing the line editor to the shell and taking it away.
#pragma once

/// Case-insensitive matching, the shell's completion and hints, the shell's history loaded.
void editor_shell_on(void);
/// Completion and hints removed, the history written.
void editor_shell_off(void);
