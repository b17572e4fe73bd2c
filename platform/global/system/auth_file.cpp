#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ox_auth_file.hpp"
#include "ox_raii.hpp"

namespace {

/// Null where the file may hold a secret; else why not.
const char* file_unfit(int fd) {
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) return strerror(errno);
    if (!S_ISREG(info.st_mode)) return "it is no regular file";
    if (info.st_uid != geteuid() && info.st_uid != 0) return "it belongs to another user";
    if (info.st_mode & (S_IRWXG | S_IRWXO)) return "others may use it; its mode must be 0600";
    return nullptr;
}

}  // namespace

const char* ox_auth_file(void) {
    const char* path = getenv("OBX_AUTH_FILE");
    return path && *path ? path : nullptr;
}

const char* ox_auth_file_read(const char* path, char* line, size_t size) {
    Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    const char* why = file_unfit(fd.get());
    if (why) return why;
    ssize_t got = read(fd.get(), line, size - 1);
    if (got < 0) return strerror(errno);
    line[got] = 0;
    line[strcspn(line, "\r\n")] = 0;
    return *line ? nullptr : "it holds no token and no login";
}
