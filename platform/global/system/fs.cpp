#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_raii.hpp"

namespace {

/// A mapping starts at a page; the bytes before the caller's first one are found again from its address.
size_t page_size() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

bool write_all(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t count = write(fd, data, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

/// Opens a regular file, created with mode 0600 when there is none: a device or a pipe is none, a link is
/// not followed.
int open_to_write(const char* path) {
    Fd fd(open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
    struct stat status;
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0) return -1;
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return -1;
    }
    return fd.release();
}

/// Holds off the signals that end the program, so that no temporary file is left behind by them.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t ends;
        sigemptyset(&ends);
        static const int numbers[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
        for (int number : numbers) sigaddset(&ends, number);
        pthread_sigmask(SIG_BLOCK, &ends, &before_);
    }
    ~SignalsHeld() {
        int error = errno;
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_;
};

}  // namespace

int ox_fs_open_regular(const char* path, off_t* size) {
    Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0) return -1;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return -1;
    }
    if (size) *size = status.st_size;
    return fd.release();
}

int ox_fs_touch(const char* path) {
    return Fd(open_to_write(path)).get() >= 0 ? 0 : -1;
}

int ox_fs_write_file(const char* path, const void* data, size_t size) {
    Fd fd(open_to_write(path));
    if (fd.get() < 0 || ftruncate(fd.get(), 0) != 0) return -1;
    return write_all(fd.get(), static_cast<const char*>(data), size) && fsync(fd.get()) == 0 ? 0 : -1;
}

void* ox_fs_mmap_file_adv(const char* path, long offset, size_t* size, int /*flags*/) {
    off_t length = 0;
    Fd fd(ox_fs_open_regular(path, &length));
    if (fd.get() < 0) return nullptr;
    if (offset < 0 || offset >= length || static_cast<uint64_t>(length - offset) > SIZE_MAX / 2) {
        errno = EINVAL;
        return nullptr;
    }
    size_t lead = static_cast<size_t>(offset) % page_size();
    auto wanted = static_cast<size_t>(length - offset);
    void* base =
        mmap(nullptr, wanted + lead, PROT_READ, MAP_PRIVATE, fd.get(), offset - static_cast<off_t>(lead));
    if (base == MAP_FAILED) return nullptr;
    *size = wanted;
    return static_cast<char*>(base) + lead;
}

void ox_fs_munmap_file(void* data, size_t size) {
    if (!data) return;
    size_t lead = reinterpret_cast<uintptr_t>(data) % page_size();
    munmap(static_cast<char*>(data) - lead, size + lead);
}

int ox_fs_replace_file(const char* path, const void* data, size_t size) {
    struct stat status;
    if (lstat(path, &status) == 0 && !S_ISREG(status.st_mode)) {
        errno = S_ISLNK(status.st_mode) ? ELOOP : EINVAL;
        return -1;
    }
    CharsRef name(static_cast<char*>(malloc(strlen(path) + 8)));
    if (!name) return -1;
    sprintf(name, "%s.XXXXXX", path);
    SignalsHeld held;
    Fd fd(mkostemp(name, O_CLOEXEC));  // a new file of mode 0600: no link is followed
    if (fd.get() < 0) return -1;
    if (write_all(fd.get(), static_cast<const char*>(data), size) && fsync(fd.get()) == 0 &&
        rename(name, path) == 0) {
        return 0;
    }
    int error = errno;
    unlink(name);
    errno = error;
    return -1;
}
