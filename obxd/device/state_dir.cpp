#include "device/state_dir.hpp"

#include <ctype.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "device/files.hpp"

namespace obxd {

namespace {

constexpr const char* DIRECTORIES[] = {"restore", "files", "firmware"};
constexpr const char* FILES[] = {"config.json", "state.json", "change.json"};
constexpr std::string_view FETCHED = "fetch-";
constexpr const char* TEMPORARY = ".obxd-temporary";  // marks directories that may be removed
constexpr std::string_view TEMPORARY_NAME = "obxd-";
constexpr size_t RANDOM_LETTERS = 6;

bool fail(std::string& error, const std::string& path, const char* why) {
    error = path + ": " + why;
    return false;
}

void each_entry(const std::string& path, const std::function<void(const std::string& name)>& visit) {
    DIR* dir = opendir(path.c_str());
    if (!dir) return;
    while (const dirent* entry = readdir(dir)) visit(entry->d_name);
    closedir(dir);
}

// A file as it was called while it was written, in earlier versions: NAME.json and six random letters and
// digits. Small letters alone are rather a word of somebody's, as in "config.json.backup".
bool was_being_written(const std::string& name) {
    constexpr std::string_view SUFFIX = ".json.";
    if (name.size() < SUFFIX.size() + RANDOM_LETTERS) return false;
    std::string_view letters = std::string_view(name).substr(name.size() - RANDOM_LETTERS);
    std::string_view before = std::string_view(name).substr(0, name.size() - RANDOM_LETTERS);
    return before.ends_with(SUFFIX) &&
           std::all_of(letters.begin(), letters.end(), [](unsigned char c) { return isalnum(c); }) &&
           !std::all_of(letters.begin(), letters.end(), [](unsigned char c) { return islower(c); });
}

void remove_leftovers(const std::string& path) {
    for (const std::string& each : {path, path + "/restore", path + "/files"}) {
        each_entry(each, [&each](const std::string& name) {
            if (file_is_temporary(name)) unlink((each + "/" + name).c_str());
        });
    }
    for (const std::string& each : {path, path + "/restore"}) {
        each_entry(each, [&each](const std::string& name) {
            if (was_being_written(name)) unlink((each + "/" + name).c_str());
        });
    }
    each_entry(path, [&path](const std::string& name) {
        if (name.starts_with(FETCHED)) unlink((path + "/" + name).c_str());
    });
    // An image is kept for a transaction, and those end with the daemon.
    empty_directory(path + "/firmware");
}

// The lock of a directory: empty where another process holds it.
Fd lock_directory(const std::string& path) {
    Fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.get() >= 0 && flock(fd.get(), LOCK_EX | LOCK_NB) != 0) fd.reset();
    return fd;
}

std::string temp_place() {
    const char* tmp = getenv("TMPDIR");
    return tmp && *tmp ? tmp : "/tmp";
}

// Temporary directories of daemons that crashed: of this user, marked, and locked by nobody.
void remove_abandoned() {
    std::string place = temp_place();
    each_entry(place, [&place](const std::string& name) {
        if (!name.starts_with(TEMPORARY_NAME) || name.size() != TEMPORARY_NAME.size() + RANDOM_LETTERS)
            return;
        std::string path = place + "/" + name;
        struct stat status;
        if (lstat(path.c_str(), &status) != 0 || status.st_uid != geteuid()) return;
        if (!S_ISDIR(status.st_mode) || access((path + "/" + TEMPORARY).c_str(), F_OK) != 0) return;
        Fd lock = lock_directory(path);
        if (lock.get() >= 0) remove_tree(path);
    });
}

bool make_temporary(StateDir& dir, std::string& error) {
    remove_abandoned();
    std::string pattern = temp_place() + "/" + std::string(TEMPORARY_NAME) + "XXXXXX";
    if (!mkdtemp(pattern.data())) return fail(error, pattern, strerror(errno));
    dir.path = pattern;
    dir.temporary = true;
    return true;
}

bool find_real(StateDir& dir, const std::string& wanted, std::string& error) {
    if (mkdir(wanted.c_str(), 0700) != 0 && errno != EEXIST) return fail(error, wanted, strerror(errno));
    char* real = realpath(wanted.c_str(), nullptr);
    if (!real) return fail(error, wanted, strerror(errno));
    dir.path = real;
    free(real);
    return true;
}

}  // namespace

bool state_dir_open(StateDir& dir, const std::string& wanted, std::string& error) {
    if (wanted.empty() && !make_temporary(dir, error)) return false;
    if (!find_real(dir, wanted.empty() ? dir.path : wanted, error)) return false;
    dir.lock = lock_directory(dir.path);
    if (dir.lock.get() < 0)
        return fail(error, dir.path, errno == EWOULDBLOCK ? "another obxd uses it" : strerror(errno));
    if (dir.temporary) write_file(dir.path + "/" + TEMPORARY, "");
    for (const char* name : DIRECTORIES) {
        std::string path = dir.path + "/" + name;
        if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return fail(error, path, strerror(errno));
    }
    remove_leftovers(dir.path);
    return true;
}

void state_dir_close(StateDir& dir) {
    if (dir.temporary && dir.lock.get() >= 0) remove_tree(dir.path);
}

bool state_dir_keeps(const std::string& name) {
    auto same = [&name](const char* kept) { return name == kept; };
    return std::any_of(std::begin(FILES), std::end(FILES), same) || name == "restore" || name == "firmware" ||
           name == TEMPORARY || name.starts_with(FETCHED) || file_is_temporary(name);
}

std::string state_dir_temp_file(const StateDir& dir, uint64_t number) {
    return dir.path + "/" + std::string(FETCHED) + std::to_string(getpid()) + "-" + std::to_string(number);
}

}  // namespace obxd
