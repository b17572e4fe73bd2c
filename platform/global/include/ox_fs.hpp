// Files: creation, whole-file mappings, atomic replacement.
#pragma once

#include <stddef.h>
#include <sys/types.h>

/// Creates the file (mode 0600) when it does not exist, leaves it alone otherwise. Never follows a symbolic
/// link at the last component; what is no regular file is refused (EINVAL). Returns 0, or -1 with errno.
int ox_fs_touch(const char* path);
/// Makes these bytes the content of the file, which keeps its owner and mode; otherwise as ox_fs_touch. A
/// failure may leave part of them.
int ox_fs_write_file(const char* path, const void* data, size_t size);
/// Maps a whole regular file for reading, from `offset` on; stores its size. `flags` is 0. Null on failure
/// (an empty file included) with errno.
void* ox_fs_mmap_file_adv(const char* path, long offset, size_t* size, int flags);
void ox_fs_munmap_file(void* data, size_t size);
/// Replaces `path` by a file of these bytes (mode 0600) in one step: readers see the old or the new content,
/// whole. A symbolic link at `path` is refused (ELOOP), and so is what is no regular file (EINVAL). Returns
/// 0, or -1 with errno and the old file untouched.
int ox_fs_replace_file(const char* path, const void* data, size_t size);
/// Opens a regular file for reading (never waiting for the other end of a pipe) and stores its size, where
/// `size` is given. Returns the descriptor, or -1 with errno.
int ox_fs_open_regular(const char* path, off_t* size);
