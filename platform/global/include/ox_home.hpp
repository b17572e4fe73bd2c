// Home directories in the names of files.
#pragma once

#include <jansson.h>

/// A name with a leading "~" (HOME, or the home of who runs the program where that is unset) or "~USER"
/// replaced by the directory, as a shell does it; where there is none, and for any other name, a copy of it.
/// "./~" names a file that begins so. Heap, the caller frees it.
char* ox_home_expand(const char* name);
/// Appends the users whose names begin with a prefix, each as "~NAME/", to an array.
void ox_home_users(const char* prefix, json_t* names);
