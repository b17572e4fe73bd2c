#include "device/upload.hpp"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>

#include "device/fetch.hpp"
#include "device/files.hpp"
#include "device/params.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

constexpr std::string_view FILE_SCHEME = "file://";
constexpr const char* ELSEWHERE =
    "Files are written below the state directory, or where --upload-dir of obxd allows";

std::vector<std::string> components(const std::string& path) {
    std::vector<std::string> names;
    for (size_t at = 0; at < path.size();) {
        size_t end = std::min(path.find('/', at), path.size());
        if (end > at) names.push_back(path.substr(at, end - at));
        at = end + 1;
    }
    return names;
}

// What is left of the path below a directory; false where it is not below it.
bool below(const std::string& directory, const std::string& path, std::string& rest) {
    if (directory.empty() || !path.starts_with(directory)) return false;
    rest = path.substr(directory.size());
    return directory.back() == '/' || rest.empty() || rest[0] == '/';
}

// The directory that the path leads into as far as there are directories: what is left in `names` is no
// directory, or not there.
Fd descend(const std::string& base, std::vector<std::string>& names) {
    Fd at(open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (at.get() >= 0 && !names.empty()) {
        Fd next(openat(at.get(), names.front().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (next.get() < 0) break;
        names.erase(names.begin());
        at = std::move(next);
    }
    return at;
}

/// Where a path may be written: the directory of the options that it is below.
struct Place {
    std::string base;
    std::vector<std::string> names;  ///< below it
};

bool find_place(const Device& device, const std::string& path, Place& place) {
    std::string rest;
    if (below(device.state.path, path, rest)) {
        place = {device.state.path, components(rest)};
        return place.names.empty() || !state_dir_keeps(place.names.front());
    }
    for (const std::string& directory : device.options.upload_dirs) {
        // As it was given, and as it is where symbolic links lead to it.
        char* real = realpath(directory.c_str(), nullptr);
        bool found = below(directory, path, rest) || (real && below(real, path, rest));
        free(real);
        if (!found) continue;
        place = {directory, components(rest)};
        return true;
    }
    return false;
}

int refuse(std::string& detail, int code, const char* why) {
    detail = why;
    return code;
}

}  // namespace

int upload_write(const Device& device, const json_t* params, const char* default_name,
                 const std::string& text, std::string& detail) {
    const char* url = text_param(params, "URL");
    const char* target = text_param(params, "TargetFileName");
    if (!url) return refuse(detail, FAULT_INVALID_ARGUMENTS, "\"URL\" is missing");
    int code = fetch_check_url(url, detail);
    if (code != 0) return code;
    if (strncasecmp(url, FILE_SCHEME.data(), FILE_SCHEME.size()) != 0)
        return refuse(detail, FAULT_PROTOCOL, "Only file URLs can be written to");
    Place place;
    std::string path = url + FILE_SCHEME.size();
    if (!find_place(device, path, place)) return refuse(detail, FAULT_UPLOAD, ELSEWHERE);
    for (const std::string& name : place.names)
        if (name == "." || name == "..") return refuse(detail, FAULT_UPLOAD, ELSEWHERE);
    bool top = place.names.empty() && place.base == device.state.path;
    Fd directory = descend(place.base, place.names);
    if (directory.get() < 0) return refuse(detail, FAULT_UPLOAD, strerror(errno));
    if (place.names.empty()) {
        std::string name = target ? target : default_name;
        if (!file_name_ok(name))
            return refuse(detail, FAULT_INVALID_ARGUMENTS, "\"TargetFileName\" is no file name");
        if (top && state_dir_keeps(name)) return refuse(detail, FAULT_UPLOAD, ELSEWHERE);
        place.names.push_back(name);
    }
    const std::string& name = place.names.front();
    struct stat status;
    bool there = fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (place.names.size() > 1) return refuse(detail, FAULT_UPLOAD, strerror(there ? ENOTDIR : errno));
    if (there && !S_ISREG(status.st_mode)) return refuse(detail, FAULT_UPLOAD, "No regular file");
    if (!write_file_at(directory.get(), name, text)) return refuse(detail, FAULT_UPLOAD, strerror(errno));
    return 0;
}

}  // namespace obxd
