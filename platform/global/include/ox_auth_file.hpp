// Credentials that stand in a file, so that no list of processes and no history holds them.
#pragma once

#include <stddef.h>

/// The file that OBX_AUTH_FILE names in the environment; null where it names none.
const char* ox_auth_file(void);
/// Reads its first line into `line`: a token, or a user and behind ":" the password. Null, or why that fails:
/// a file on which others have a right is refused.
const char* ox_auth_file_read(const char* path, char* line, size_t size);
