// Handing the line editor to the shell and taking it away.
#pragma once

#include "ox_editor.hpp"

inline constexpr const char* SHELL_HISTORY_FILE = "/tmp/.obxc.hist";
inline constexpr const char* LUA_HISTORY_FILE = "/tmp/.obxc.lua.hist";

/// The shell's completion and hint functions, which editor_shell_on and `opt` install.
void editor_set_shell_callbacks(ox_rl_autocomplete_cb complete, ox_rl_hint_cb hint);
ox_rl_autocomplete_cb editor_shell_complete(void);
ox_rl_hint_cb editor_shell_hint(void);

/// Case-insensitive matching, the shell's callbacks, the shell's history loaded.
void editor_shell_on(void);
/// Callbacks removed, the history written.
void editor_shell_off(void);

/// Loads the history of a file. Where a person types, the reason is told when the file cannot be used.
void editor_history_load(const char* path);
/// Writes what was typed since to that file, but for lines that hold a password. Without a terminal nobody
/// typed: the file is left alone.
void editor_history_save(const char* path);
