#include "device/restore_points.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "device/clock.hpp"
#include "device/params.hpp"
#include "owners.hpp"
#include "ox_tr_path.hpp"

namespace obxd {

namespace {

constexpr const char* TABLE = "Device.DeviceInfo.VendorConfigFile.";
constexpr std::string_view SUFFIX = ".json";

struct Point {
    std::string name;
    timespec saved;
};

std::string row_path(uint32_t row) {
    return TABLE + std::to_string(row) + ".";
}

// What is there on disk, the oldest first.
std::vector<Point> points_read(const Device& device) {
    std::vector<Point> points;
    DIR* dir = opendir((device.state.path + "/restore").c_str());
    if (!dir) return points;
    while (const dirent* entry = readdir(dir)) {
        std::string_view file = entry->d_name;
        struct stat status;
        if (file.size() <= SUFFIX.size() || !file.ends_with(SUFFIX)) continue;
        Point point{std::string(file.substr(0, file.size() - SUFFIX.size())), {}};
        if (stat(restore_point_file(device, point.name).c_str(), &status) != 0) continue;
        point.saved = status.st_mtim;
        points.push_back(std::move(point));
    }
    closedir(dir);
    std::sort(points.begin(), points.end(), [](const Point& a, const Point& b) {
        auto age = [](const Point& point) { return std::pair(point.saved.tv_sec, point.saved.tv_nsec); };
        return age(a) != age(b) ? age(a) < age(b) : a.name < b.name;
    });
    return points;
}

// The firmware that wrote the file; "" when it does not say.
std::string firmware_of(const std::string& file) {
    JsonRef root(json_load_file(file.c_str(), 0, nullptr));
    const char* firmware = text_param(root, "firmware");
    return firmware ? firmware : "";
}

// Fills in what the model's rows have room for, where the point is new.
void row_fill(Device& device, uint32_t row, const Point& point) {
    Store& store = device.store;
    std::string path = row_path(row), date = time_text(point.saved);
    const char* shown = json_string_value(store.value(path + "Date"));
    if (shown && date == shown) return;
    std::string firmware = firmware_of(restore_point_file(device, point.name));
    store.set_value(path + "Version", json_string(firmware.c_str()));
    store.set_value(path + "Date", json_string(date.c_str()));
    store.set_value(path + "Description", json_string("Restore point"));
    store.set_value(path + "UseForBackupRestore", json_true());
}

uint32_t row_of(const Device& device, const std::string& name) {
    for (auto& [row, present] : device.restore_points)
        if (present == name) return row;
    return 0;
}

// Drops the rows whose points are gone: a factory reset or a load has taken the row or its file away.
void rows_drop(Device& device, const std::vector<Point>& points) {
    Store& store = device.store;
    for (auto entry = device.restore_points.begin(); entry != device.restore_points.end();) {
        const char* shown = json_string_value(store.value(row_path(entry->first) + "Name"));
        bool row = shown && entry->second == shown;
        bool file = std::any_of(points.begin(), points.end(),
                                [entry](const Point& point) { return point.name == entry->second; });
        if (row && file) {
            ++entry;
            continue;
        }
        if (row) store.delete_instance(row_path(entry->first));
        entry = device.restore_points.erase(entry);
    }
}

}  // namespace

std::string restore_point_file(const Device& device, const std::string& name) {
    return device.state.path + "/restore/" + name + std::string(SUFFIX);
}

bool restore_point_name_free(Device& device, const std::string& name) {
    Store& store = device.store;
    for (uint32_t row : store.instances(TABLE)) {
        const char* shown = json_string_value(store.value(row_path(row) + "Name"));
        if (shown && name == shown && !device.restore_points.count(row)) return false;
    }
    return true;
}

void restore_points_update(Device& device) {
    std::vector<Point> points = points_read(device);
    rows_drop(device, points);
    for (const Point& point : points) {
        if (!restore_point_name_free(device, point.name)) continue;
        uint32_t row = row_of(device, point.name);
        if (!row) {
            JsonRef values(json_pack("{s:s}", "Name", point.name.c_str()));
            row = device.store.add_instance(TABLE, values);
        }
        if (!row) continue;
        device.restore_points[row] = point.name;
        row_fill(device, row, point);
    }
}

const std::string* restore_point_at(const Device& device, const std::string& object) {
    if (!object.starts_with(TABLE)) return nullptr;
    uint32_t row = 0;
    ox_tr_instance_number(ox_tr_path_leaf(object), &row);
    auto found = device.restore_points.find(row);
    return found == device.restore_points.end() ? nullptr : &found->second;
}

}  // namespace obxd
