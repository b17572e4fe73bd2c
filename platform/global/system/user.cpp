#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <unistd.h>

#include "ox_memory.hpp"
#include "ox_user.hpp"

namespace {

#ifdef __GLIBC__  // elsewhere getpwuid_r() reads this file itself, and asks no name service
struct passwd* local_entry(struct passwd* entry, char* buffer, size_t size) {
    FILE* file = fopen("/etc/passwd", "re");
    int error = file ? 0 : errno;
    struct passwd* found = nullptr;
    while (file && error == 0 && !found) {
        error = fgetpwent_r(file, entry, buffer, size, &found);
        if (found && entry->pw_uid != getuid()) found = nullptr;
    }
    if (file) fclose(file);
    if (error == ENOMEM) ox_memory_failed(__func__);
    return found;
}
#else
struct passwd* local_entry(struct passwd*, char*, size_t) {
    return nullptr;
}
#endif

}  // namespace

const char* ox_user_name(char* buffer, size_t size) {
    struct passwd entry;
    struct passwd* found = local_entry(&entry, buffer, size);
    if (!found) getpwuid_r(getuid(), &entry, buffer, size, &found);
    return found ? found->pw_name : nullptr;
}
