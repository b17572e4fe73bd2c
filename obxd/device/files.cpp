#include "device/files.hpp"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "owners.hpp"

namespace obxd {

namespace {

int remove_entry(const char* path, const struct stat*, int, FTW*) {
    return remove(path);
}

}  // namespace

bool read_file(const std::string& path, std::string& text) {
    char block[65536];
    Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    text.clear();
    ssize_t got = fd.get() < 0 ? -1 : 0;
    while (fd.get() >= 0 && (got = read(fd.get(), block, sizeof block)) > 0)
        text.append(block, static_cast<size_t>(got));
    return got == 0;
}

bool write_all(int fd, const void* data, size_t size) {
    const char* rest = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t written = write(fd, rest, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        rest += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

bool write_file(const std::string& path, const std::string& text) {
    std::string temp = path + ".XXXXXX";
    Fd fd(mkostemp(temp.data(), O_CLOEXEC));
    if (fd.get() < 0) return false;
    if (write_all(fd.get(), text.data(), text.size()) && fsync(fd.get()) == 0 &&
        rename(temp.c_str(), path.c_str()) == 0)
        return true;
    int saved = errno;
    unlink(temp.c_str());
    errno = saved;
    return false;
}

void empty_directory(const std::string& path) {
    DIR* dir = opendir(path.c_str());
    if (!dir) return;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_type != DT_DIR) unlink((path + "/" + entry->d_name).c_str());
    }
    closedir(dir);
}

void remove_tree(const std::string& path) {
    nftw(path.c_str(), remove_entry, 8, FTW_DEPTH | FTW_PHYS);
}

}  // namespace obxd
