// The line editor's history.
#pragma once

/// Adds an entry unless it is empty. Repeated ones stay: recordings count entries.
void ox_history_add(const char* text);
void ox_history_clear(void);
/// Replaces the history by the file's entries, oldest first: at most the last 1000, from its last MiB. A
/// missing file leaves it empty; a link, a file of another user's or no regular file is refused. Returns 0 or
/// -1 with errno.
int ox_history_load(const char* path);
/// Writes entries, oldest first, one a line, atomically, mode 0600, never through a symbolic link. A count of
/// 0 or more is for recordings: that many of the most recent, as they were typed, newlines included. -1 is
/// for the history file: the last 1000, an entry of several lines in one line (history.cpp has the form), so
/// that loading gives them back whole. Returns 0 or -1 with errno.
int ox_history_dump(const char* path, int count);
