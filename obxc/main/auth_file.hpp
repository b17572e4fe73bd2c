// Credentials that stand in a file, so that no list of processes and no history holds them.
#pragma once

#include "main/options.hpp"

/// Where no option gave any, takes the credentials from the first line of the file that OBX_AUTH_FILE names
/// in the environment, written as behind -a. -1: go on; else the exit status: why it is refused was printed.
int auth_file_take(StartOptions* options);
