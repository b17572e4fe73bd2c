#include "main/auth_file.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_auth_file.hpp"

namespace {

constexpr int GO_ON = -1;

}  // namespace

int auth_file_take(StartOptions* options) {
    const char* path = ox_auth_file();
    if (!path || *options->login || options->stands_alone) return GO_ON;
    char line[sizeof options->login + sizeof options->password];
    const char* why = ox_auth_file_read(path, line, sizeof line);
    if (why) {
        fprintf(stderr, "obxc: cannot use OBX_AUTH_FILE %s: %s\n", path, why);
        return EXIT_FAILURE;
    }
    options_take_auth(options, line);
    explicit_bzero(line, sizeof line);
    return GO_ON;
}
