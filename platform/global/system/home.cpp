#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ox_home.hpp"
#include "ox_memory.hpp"
#include "ox_str.hpp"

namespace {

const char* own_home(void) {
    const char* home = getenv("HOME");
    if (home && *home) return home;
    const struct passwd* user = getpwuid(getuid());
    return user ? user->pw_dir : nullptr;
}

/// The home of the user whose name these bytes are; null for nobody.
const char* home_of(const char* name, size_t length) {
    if (length == 0) return own_home();
    char* text = ox_memory_text_n(name, length);
    const struct passwd* user = text ? getpwnam(text) : nullptr;
    free(text);
    return user ? user->pw_dir : nullptr;
}

}  // namespace

char* ox_home_expand(const char* name) {
    const char* rest = name + strcspn(name, "/");
    const char* home = *name == '~' ? home_of(name + 1, static_cast<size_t>(rest - name) - 1) : nullptr;
    return home ? ox_str_printf_new("%s%s", home, rest) : ox_memory_text(name);
}

void ox_home_users(const char* prefix, json_t* names) {
    setpwent();
    while (const struct passwd* user = getpwent()) {
        if (strncmp(user->pw_name, prefix, strlen(prefix)) != 0) continue;
        json_array_append_new(names, json_sprintf("~%s/", user->pw_name));
    }
    endpwent();
}
