// Where the text of a path leads, walked link by link.
#pragma once

#include <sys/stat.h>

#include "ox_raii.hpp"

/// A directory and a name in it that is no symbolic link.
struct FilePlace {
    UnheldFd directory;
    UnheldChars name;
    bool shared = false;  ///< everyone may put files there and take only his own away, as in /tmp
};

/// Finds the place of a file that need not exist yet. Symbolic links are followed, as files and as
/// directories on the way, but none that lies in a shared directory, whoever owns it (ELOOP). False with
/// errno.
bool file_place_find(const char* path, FilePlace* place);
/// Whether what is there may be used: a regular file (else EISDIR or EINVAL), in a shared directory only the
/// caller's own one that has no second name (EPERM). False with errno.
bool file_place_admits(const FilePlace* place, const struct stat* status);
/// Opens the file there with mode 0600 for a new one; never follows a link, nor waits. The descriptor, or -1
/// with errno.
int file_place_open(const FilePlace* place, int flags);
