// Files of the state directory and of others.
#pragma once

#include <stddef.h>

#include <string>

namespace obxd {

/// The whole file. False with errno, and `text` holds what could be read.
bool read_file(const std::string& path, std::string& text);
/// Writes all of it, however often that takes. False with errno.
bool write_all(int fd, const void* data, size_t size);
/// Replaces or makes the file in one step. False with errno.
bool write_file(const std::string& path, const std::string& text);
/// Removes the files in a directory, and leaves directories in it.
void empty_directory(const std::string& path);
/// Removes a directory with all that it holds.
void remove_tree(const std::string& path);

}  // namespace obxd
