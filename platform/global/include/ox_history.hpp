// The line editor's history.
#pragma once

/// Adds an entry unless it is empty. Repeated ones stay: recordings count entries.
void ox_history_add(const char* text);
/// The entry that is `age` entries old, 0 for the last; null where there is none. The history's own.
const char* ox_history_get(int age);
void ox_history_clear(void);
/// Replaces the history by the file's entries, oldest first: at most the last 1000, from its last MiB. A
/// missing file leaves it empty; a link, a file of another user's or no regular file is refused. Returns 0 or
/// -1 with errno.
int ox_history_load(const char* path);
/// Writes entries, oldest first, one a line, never through a symbolic link or to what is no regular file; a
/// new file has mode 0600. A count of 0 or more is for recordings: that many of the most recent, as they were
/// typed, newlines included; the file keeps its owner and mode. -1 is for the history file: all, an
/// entry of several lines in one line (history.cpp has the form), so that loading gives them back whole; the
/// file is replaced in one step, by one of mode 0600. Returns 0 or -1 with errno.
int ox_history_dump(const char* path, int count);
