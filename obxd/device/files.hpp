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
/// The same in an open directory.
bool write_file_at(int directory, const std::string& name, const std::string& text);
/// True for the names of files as write_file calls them until they are whole.
bool file_is_temporary(const std::string& name);
/// True for what may be the name of a file in a directory.
bool file_name_ok(const std::string& name);
/// Removes the files in a directory, and leaves directories in it.
void empty_directory(const std::string& path);
/// Removes a directory with all that it holds.
void remove_tree(const std::string& path);

}  // namespace obxd
