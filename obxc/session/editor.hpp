// The histories of the line editor.
#pragma once

inline constexpr const char* SHELL_HISTORY_FILE = "/tmp/.obxc.hist";
inline constexpr const char* LUA_HISTORY_FILE = "/tmp/.obxc.lua.hist";

/// Loads the history of a file. Where a person types, the reason is told when the file cannot be used.
void editor_history_load(const char* path);
/// Writes what was typed since to that file, but for lines that hold a password. Without a terminal nobody
/// typed: the file is left alone.
void editor_history_save(const char* path);
