// Keeps the history files in the directory that the environment names instead of /tmp: sessions of tests run
// side by side, start with an empty history, and leave the tester's own alone. What is shown of their names
// stays.
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_history.hpp"

namespace {

const char* in_own_tmp(const char* path) {
    static char file[PATH_MAX];
    const char* own = getenv("OBX_TEST_TMP");
    if (!own || strncmp(path, "/tmp/", 5) != 0) return path;
    snprintf(file, sizeof file, "%s%s", own, path + 4);
    return file;
}

int load_from_own_tmp(const char* path) {
    return ox_history_load(in_own_tmp(path));
}

int dump_to_own_tmp(const char* path, int count) {
    return ox_history_dump(in_own_tmp(path), count);
}

}  // namespace

#define ox_history_load load_from_own_tmp
#define ox_history_dump dump_to_own_tmp
#include "session/editor.cpp"  // NOLINT(bugprone-suspicious-include)
