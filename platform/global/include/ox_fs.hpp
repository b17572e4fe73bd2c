// Files: creation, whole-file mappings, atomic replacement.
//
// Where a file is written, or belongs to who runs the program, the way to it is checked: a symbolic link is
// followed, but not one that lies in a world-writable sticky directory such as /tmp (ELOOP), and in such a
// directory nobody else's file is touched, nor one that has a second name (EPERM). A directory (EISDIR) and
// what else is no regular file (EINVAL) are refused.
#pragma once

#include <stddef.h>
#include <sys/types.h>

/// Creates the file (mode 0600) when it does not exist, leaves it alone otherwise; the way is checked.
/// Returns 0, or -1 with errno.
int ox_fs_touch(const char* path);
/// Makes these bytes the content of the file, which keeps its owner and mode; otherwise as ox_fs_touch. A
/// failure may leave part of them.
int ox_fs_write_file(const char* path, const void* data, size_t size);
/// Maps a whole regular file for reading, from `offset` on; stores its size. `flags` is 0. Null on failure
/// (an empty file included) with errno.
void* ox_fs_mmap_file_adv(const char* path, long offset, size_t* size, int flags);
void ox_fs_munmap_file(void* data, size_t size);
/// Replaces the file by one of these bytes (mode 0600) in one step: readers see the old or the new content,
/// whole. The way is checked; a link stays, what it leads to is replaced. Returns 0, or -1 with errno and the
/// old file untouched: ESTALE when `replaced` (-1: none) is no longer the file at the path.
int ox_fs_replace_file(const char* path, const void* data, size_t size, int replaced = -1);
/// Opens the file for reading and writing, created with mode 0600 when there is none, and takes its lock,
/// under which it may be read and replaced; closing the descriptor gives it back. Where the lock is kept for
/// 2 s and the file not replaced, the file is opened without. The way is checked. Returns the descriptor, or
/// -1 with errno.
int ox_fs_open_locked(const char* path);
/// Opens the file for reading; the way is checked. Returns the descriptor, or -1 with errno.
int ox_fs_open_read(const char* path);
/// What errno says of a file that was refused: "a directory", ..., else the system's text.
const char* ox_fs_reason(int error);
/// Opens a regular file for reading (never waiting for the other end of a pipe) and stores its size, where
/// `size` is given. Returns the descriptor, or -1 with errno.
int ox_fs_open_regular(const char* path, off_t* size);
