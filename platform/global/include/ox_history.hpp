// The line editor's history.
#pragma once

/// Adds an entry unless it is empty or equal to the latest one.
void ox_history_add(const char* text);
void ox_history_clear(void);
/// Replaces the history by the file's entries, oldest first. A missing file leaves it empty. Returns 0 or -1
/// with errno.
int ox_history_load(const char* path);
/// Writes the `count` most recent entries (-1: all), oldest first, atomically, mode 0600, never through a
/// symbolic link. One entry a line as typed; the newlines inside an entry are written as they are in
/// recordings, and the file can be loaded again with its entries whole. Returns 0 or -1 with errno.
int ox_history_dump(const char* path, int count);
