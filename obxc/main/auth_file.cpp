#include "main/auth_file.hpp"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ox_raii.hpp"

namespace {

constexpr int GO_ON = -1;

/// Null where the file may hold a secret; else why not.
const char* file_unfit(int fd) {
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) return strerror(errno);
    if (!S_ISREG(info.st_mode)) return "it is no regular file";
    if (info.st_uid != geteuid() && info.st_uid != 0) return "it belongs to another user";
    if (info.st_mode & (S_IRWXG | S_IRWXO)) return "others may use it; its mode must be 0600";
    return nullptr;
}

/// Reads the first line. Null, or why that fails.
const char* line_read(int fd, char* line, size_t size) {
    ssize_t got = read(fd, line, size - 1);
    if (got < 0) return strerror(errno);
    line[got] = 0;
    line[strcspn(line, "\r\n")] = 0;
    return *line ? nullptr : "it holds no token and no login";
}

}  // namespace

int auth_file_take(StartOptions* options) {
    const char* path = getenv("OBX_AUTH_FILE");
    if (!path || !*path || *options->login) return GO_ON;
    char line[sizeof options->login + sizeof options->password];
    Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    const char* why = file_unfit(fd.get());
    if (!why) why = line_read(fd.get(), line, sizeof line);
    if (why) {
        fprintf(stderr, "obxc: cannot use OBX_AUTH_FILE %s: %s\n", path, why);
        return EXIT_FAILURE;
    }
    options_take_auth(options, line);
    explicit_bzero(line, sizeof line);
    return GO_ON;
}
