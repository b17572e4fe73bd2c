// The user who runs the program.
#pragma once

#include <stddef.h>

/// Its name, inside of `buffer`, which takes its whole entry; null where it has none. The local file of users
/// is asked first: that needs no name service, which is slow to start and crashes where memory runs out.
const char* ox_user_name(char* buffer, size_t size);
