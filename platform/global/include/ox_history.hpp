// The line editor's history.
#pragma once

/// Adds an entry unless it is empty. Repeated ones stay: recordings count entries.
void ox_history_add(const char* text);
/// The entry that is `age` entries old, 0 for the last; null where there is none. The history's own.
const char* ox_history_get(int age);
void ox_history_clear(void);
/// Entries of which this says that they hold a secret stay in memory: no history file gets them, nor keeps
/// them (recordings do). Null: there are none.
void ox_history_set_secret(bool (*holds_secret)(const char* text));
/// Replaces the history by the file's entries, oldest first: at most the last 1000, from its last MiB. A
/// missing file leaves it empty; the way to it is checked (ox_fs.hpp). Returns 0 or -1 with errno.
int ox_history_load(const char* path);
/// Writes entries, oldest first, one a line, to a file of mode 0600 where there was none; the way to it is
/// checked. A count of 0 or more is for recordings: that many of the most recent, as they were typed,
/// newlines included; the file keeps its owner and mode. -1 is for the history file: the entries that were
/// added since it was loaded or written (all, where it was not) go behind the last 1000 that it holds by now,
/// those of other programs included, under a lock, and none stands there twice in a row. An entry of several
/// lines is written in one (history.cpp has the form), so that loading gives them back whole; the file is
/// replaced in one step. Returns 0 or -1 with errno.
int ox_history_dump(const char* path, int count);
