#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "file_place.hpp"
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

/// Opens a regular file, created with mode 0600 when there is none.
int open_to_write(const char* path) {
    FilePlace place;
    return file_place_find(path, &place) ? file_place_open(&place, O_WRONLY | O_CREAT) : -1;
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

bool is_held(int error) {
    return error == EAGAIN || error == EACCES || error == EINTR;
}

/// Tries until the file has a lock, but not for longer than a file takes to be written.
void lock_patiently(int fd, int (*lock)(int fd)) {
    enum { PAUSE_US = 5000, TRIES = 400 };
    for (int i = 0; i < TRIES && lock(fd) != 0 && is_held(errno); i++) usleep(PAUSE_US);
}

/// The lock of those who read a file and replace it.
int lock_file(int fd) {
    return flock(fd, LOCK_EX | LOCK_NB);
}

/// Those who did not wait for that one any longer take each other's places one at a time, by a lock of
/// another kind, which is held no longer than that.
int lock_place(int fd) {
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLK, &whole);
}

/// Whether the open file is the one at the place.
bool is_at(int fd, const FilePlace* place) {
    struct stat mine;
    struct stat present;
    return fstat(fd, &mine) == 0 &&
           fstatat(place->directory.get(), place->name, &present, AT_SYMLINK_NOFOLLOW) == 0 &&
           mine.st_ino == present.st_ino && mine.st_dev == present.st_dev;
}

/// A new file beside the one that is to be replaced; `name` becomes its name.
int open_beside(const FilePlace* place, UnheldChars* name) {
    enum { TRIES = 100 };
    for (int i = 0; i < TRIES; i++) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        char* text = nullptr;
        if (asprintf(&text, "%s.%x%lx", place->name.get(), getpid() & 0xFFFF, now.tv_nsec) < 0) return -1;
        name->reset(text);
        int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
        int fd = openat(place->directory.get(), text, flags, 0600);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

int ox_fs_open_regular(const char* path, off_t* size) {
    UnheldFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
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
    return UnheldFd(open_to_write(path)).get() >= 0 ? 0 : -1;
}

int ox_fs_write_file(const char* path, const void* data, size_t size) {
    UnheldFd fd(open_to_write(path));
    if (fd.get() < 0 || ftruncate(fd.get(), 0) != 0) return -1;
    return write_all(fd.get(), static_cast<const char*>(data), size) && fsync(fd.get()) == 0 ? 0 : -1;
}

void* ox_fs_mmap_file_adv(const char* path, long offset, size_t* size, int /*flags*/) {
    off_t length = 0;
    UnheldFd fd(ox_fs_open_regular(path, &length));
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

int ox_fs_open_locked(const char* path) {
    for (;;) {
        FilePlace place;
        if (!file_place_find(path, &place)) return -1;
        UnheldFd fd(file_place_open(&place, O_RDWR | O_CREAT));
        if (fd.get() < 0) return -1;
        lock_patiently(fd.get(), lock_file);
        // The program that held the lock may have replaced the file, and the lock is then on the old one:
        // however long many take one behind the other, each gets its turn. One that holds it without end
        // hangs or was stopped.
        if (is_at(fd.get(), &place)) return fd.release();
    }
}

int ox_fs_open_read(const char* path) {
    FilePlace place;
    return file_place_find(path, &place) ? file_place_open(&place, O_RDONLY) : -1;
}

int ox_fs_replace_file(const char* path, const void* data, size_t size, int replaced) {
    FilePlace place;
    if (!file_place_find(path, &place)) return -1;
    int directory = place.directory.get();
    struct stat status;
    if (fstatat(directory, place.name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !file_place_admits(&place, &status)) {
        return -1;
    }
    SignalsHeld held;
    UnheldChars name;
    UnheldFd fd(open_beside(&place, &name));
    if (fd.get() < 0) return -1;
    bool written = write_all(fd.get(), static_cast<const char*>(data), size) && fsync(fd.get()) == 0;
    if (replaced >= 0) lock_patiently(replaced, lock_place);
    bool same = replaced < 0 || is_at(replaced, &place);
    if (written && same && renameat(directory, name, directory, place.name) == 0) return 0;
    int error = same ? errno : ESTALE;
    unlinkat(directory, name, 0);
    errno = error;
    return -1;
}

const char* ox_fs_reason(int error) {
    switch (error) {
        case ELOOP:
            return "a symbolic link";
        case EISDIR:
            return "a directory";
        case EINVAL:
            return "no regular file";
        case EPERM:
            return "somebody else's file";
        default:
            return strerror(error);
    }
}
