#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "ox_string.hpp"
#include "ox_user.hpp"

namespace {

struct passwd* local_entry(uid_t user) {
    FILE* file = fopen("/etc/passwd", "re");
    if (!file) return nullptr;
    struct passwd* entry = nullptr;
    while ((entry = fgetpwent(file)) && entry->pw_uid != user) {
    }
    fclose(file);
    return entry;
}

}  // namespace

bool ox_user_name(char name[OX_USER_NAME_SIZE]) {
    const struct passwd* entry = local_entry(getuid());
    if (!entry) entry = getpwuid(getuid());
    if (!entry) return false;
    ox_string_strlcpy(name, entry->pw_name, OX_USER_NAME_SIZE);
    return true;
}
