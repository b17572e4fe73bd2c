#include "file_place.hpp"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

namespace {

enum { LINKS_MAX = 40 };

bool fail(int error) {
    errno = error;
    return false;
}

enum Step { STEP_FAILED, STEP_LINK, STEP_END };

Step fail_step(int error) {
    errno = error;
    return STEP_FAILED;
}

/// Goes into a directory, from the working directory where the place is none yet.
bool enter(FilePlace* place, const char* name) {
    int from = place->directory.get() >= 0 ? place->directory.get() : AT_FDCWD;
    UnheldFd next(openat(from, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status;
    if (next.get() < 0 || fstat(next.get(), &status) != 0) return false;
    place->shared = (status.st_mode & (S_ISVTX | S_IWOTH)) == (S_ISVTX | S_IWOTH);
    place->directory = static_cast<UnheldFd&&>(next);
    return true;
}

/// Puts what the link `name` holds in front of the rest of the way.
bool expand(const FilePlace* place, const char* name, const char* rest, UnheldChars* way) {
    char target[PATH_MAX];
    ssize_t size = readlinkat(place->directory.get(), name, target, sizeof(target));
    if (size < 0) return false;
    if (size == 0 || size == sizeof(target) || size + strlen(rest) >= PATH_MAX) return fail(ENAMETOOLONG);
    char* text = nullptr;
    if (asprintf(&text, "%.*s%s", static_cast<int>(size), target, rest) < 0) return fail(ENOMEM);
    way->reset(text);
    return true;
}

/// Walks from the place on, to the end of `way` or to the next link, whose target `way` then begins with.
Step walk(FilePlace* place, UnheldChars* way) {
    const char* at = *way;
    if (!enter(place, *at == '/' ? "/" : ".")) return STEP_FAILED;
    for (;;) {
        at += strspn(at, "/");
        size_t length = strcspn(at, "/");
        if (length == 0) return fail_step(EISDIR);
        UnheldChars name(strndup(at, length));
        if (!name) return STEP_FAILED;
        at += length;
        struct stat status;
        bool exists = fstatat(place->directory.get(), name, &status, AT_SYMLINK_NOFOLLOW) == 0;
        if (exists && S_ISLNK(status.st_mode)) {
            if (place->shared) return fail_step(ELOOP);
            return expand(place, name, at, way) ? STEP_LINK : STEP_FAILED;
        }
        if (*at == '\0') {
            place->name.reset(name.release());
            return exists || errno == ENOENT ? STEP_END : STEP_FAILED;
        }
        if (!exists || !enter(place, name)) return STEP_FAILED;
    }
}

}  // namespace

bool file_place_find(const char* path, FilePlace* place) {
    if (!path || !*path) return fail(ENOENT);
    UnheldChars way(strdup(path));
    if (!way) return false;
    for (int links = 0; links <= LINKS_MAX; links++) {
        Step step = walk(place, &way);
        if (step != STEP_LINK) return step == STEP_END;
    }
    return fail(ELOOP);
}

bool file_place_admits(const FilePlace* place, const struct stat* status) {
    if (S_ISDIR(status->st_mode)) return fail(EISDIR);
    if (S_ISLNK(status->st_mode)) return fail(ELOOP);
    if (!S_ISREG(status->st_mode)) return fail(EINVAL);
    bool own = status->st_uid == geteuid() && status->st_nlink < 2;
    return !place->shared || own || fail(EPERM);
}

int file_place_open(const FilePlace* place, int flags) {
    struct stat status;
    // Asked before the file is opened, because opening alone has an effect on some devices (a tape rewinds).
    if (fstatat(place->directory.get(), place->name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !file_place_admits(place, &status)) {
        return -1;
    }
    flags |= O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    UnheldFd fd(openat(place->directory.get(), place->name, flags, 0600));
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0 || !file_place_admits(place, &status)) return -1;
    return fd.release();
}
