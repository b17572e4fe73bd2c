#include "device/files.hpp"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "digest.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

constexpr std::string_view TEMPORARY = ".obxd-";
constexpr size_t RANDOM_BYTES = 8;

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
    size_t slash = path.rfind('/');
    std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    Fd directory(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory.get() >= 0 && write_file_at(directory.get(), path.substr(slash + 1), text);
}

bool write_file_at(int directory, const std::string& name, const std::string& text) {
    std::string temp = std::string(TEMPORARY) + hex_random(RANDOM_BYTES);
    Fd fd(openat(directory, temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (fd.get() < 0) return false;
    if (write_all(fd.get(), text.data(), text.size()) && fsync(fd.get()) == 0 &&
        renameat(directory, temp.c_str(), directory, name.c_str()) == 0) {
        fsync(directory);
        return true;
    }
    int saved = errno;
    unlinkat(directory, temp.c_str(), 0);
    errno = saved;
    return false;
}

bool file_is_temporary(const std::string& name) {
    std::string_view rest = name;
    if (!rest.starts_with(TEMPORARY)) return false;
    rest.remove_prefix(TEMPORARY.size());
    return rest.size() == 2 * RANDOM_BYTES && rest.find_first_not_of("0123456789abcdef") == rest.npos;
}

bool file_name_ok(const std::string& name) {
    return !name.empty() && name.size() < 256 && name != "." && name != ".." &&
           name.find('/') == std::string::npos;
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
