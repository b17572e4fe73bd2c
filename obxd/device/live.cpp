#include "device/live.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "device/clock.hpp"
#include "device/files.hpp"
#include "device/firmware.hpp"
#include "device/model.hpp"
#include "ox_tr_path.hpp"

namespace obxd {

namespace {

constexpr int64_t COUNTERS_FRESH_MS = 50;  // one reading of the system's table serves a whole request

/// Parameters of a Stats object and the columns of /proc/net/dev that are added up for them.
constexpr struct {
    const char* name;
    int column;
} COUNTER_COLUMNS[] = {
    {"BytesReceived", 0},
    {"PacketsReceived", 1},
    {"ErrorsReceived", 2},
    {"DiscardPacketsReceived", 3},
    {"MulticastPacketsReceived", 7},
    {"BytesSent", 8},
    {"PacketsSent", 9},
    {"ErrorsSent", 10},
    {"DiscardPacketsSent", 11},
};

/// What official models have at the top.
constexpr const char* ROOTS[] = {"Device.", "InternetGatewayDevice."};

constexpr const char* COUNTED_OBJECTS[] = {
    "Device.Ethernet.Interface",
    "Device.WiFi.Radio",
    "Device.WiFi.SSID",
    "Device.IP.Interface",
};

std::string system_text(const std::string& file) {
    std::string text;
    read_file(file, text);
    return text;
}

std::map<std::string, Counters> parse_net_dev(const std::string& text) {
    std::map<std::string, Counters> table;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(at, end - at);
        at = end + 1;
        size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        size_t start = line.find_first_not_of(' ');
        Counters& counters = table[line.substr(start, colon - start)];
        const char* rest = line.c_str() + colon + 1;
        for (uint64_t& value : counters) {
            char* next = nullptr;
            value = strtoull(rest, &next, 10);
            rest = next;
        }
    }
    return table;
}

const std::map<std::string, Counters>& net_dev(LiveState& live) {
    int64_t now = now_ms();
    if (live.interfaces_read == 0 || now - live.interfaces_read >= COUNTERS_FRESH_MS) {
        live.interfaces = parse_net_dev(system_text("/proc/net/dev"));
        live.interfaces_read = now;
    }
    return live.interfaces;
}

// The host's interface behind "Device.X.Interface.1.Stats[.BytesSent]"; null when the host has none so named.
const Counters* host_counters(Device& device, const std::string& path, std::string& interface) {
    size_t stats = path.rfind(".Stats");
    if (stats == std::string::npos) return nullptr;
    interface = path.substr(0, stats);
    const char* name = json_string_value(device.store.value(interface + ".Name"));
    if (!name) return nullptr;
    const auto& table = net_dev(device.live);
    auto found = table.find(name);
    return found == table.end() ? nullptr : &found->second;
}

json_t* read_counter(Device& device, const std::string& path, size_t column) {
    std::string interface;
    const Counters* now = host_counters(device, path, interface);
    if (!now) return nullptr;
    auto base = device.live.base.find(interface);
    uint64_t before = base == device.live.base.end() ? 0 : base->second[column];
    uint64_t value = (*now)[column];
    return json_integer(static_cast<json_int_t>(value >= before ? value - before : value));
}

int64_t meminfo_kib(const char* field) {
    std::string text = "\n" + system_text("/proc/meminfo");
    size_t at = text.find(std::string("\n") + field + ":");
    return at == std::string::npos ? 0 : strtoll(text.c_str() + at + strlen(field) + 2, nullptr, 10);
}

// Use of the processors since the last reading, per cent.
int cpu_usage(LiveState& live) {
    unsigned long long parts[8] = {};
    std::string text = system_text("/proc/stat");
    sscanf(text.c_str(), "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &parts[0], &parts[1], &parts[2],
           &parts[3], &parts[4], &parts[5], &parts[6], &parts[7]);
    uint64_t total = 0;
    for (unsigned long long part : parts) total += part;
    uint64_t idle = parts[3] + parts[4];
    if (total - live.cpu_total >= 10) {
        live.cpu_usage = static_cast<int>(100 - 100 * (idle - live.cpu_idle) / (total - live.cpu_total));
        live.cpu_total = total;
        live.cpu_idle = idle;
    }
    return live.cpu_usage;
}

double load_average() {
    double load = 0;
    return getloadavg(&load, 1) == 1 ? static_cast<double>(static_cast<int>(load * 100)) / 100 : 0;
}

/// Serves a parameter below whatever root object the model has.
void show(Store& store, const std::string& path,
          const std::function<json_t*(const std::string& path)>& reader) {
    for (const char* root : ROOTS) store.set_live(root + path, reader);
}

void register_host(Device& device) {
    Store& store = device.store;
    show(store, "DeviceInfo.MemoryStatus.Total",
         [](const std::string&) { return json_integer(meminfo_kib("MemTotal")); });
    show(store, "DeviceInfo.MemoryStatus.Free",
         [](const std::string&) { return json_integer(meminfo_kib("MemAvailable")); });
    show(store, "DeviceInfo.ProcessStatus.CPUUsage",
         [&device](const std::string&) { return json_integer(cpu_usage(device.live)); });
    show(store, "DeviceInfo.UpTime",
         [&device](const std::string&) { return json_integer((now_ms() - device.booted) / 1000); });
    show(store, "Time.CurrentLocalTime", [](const std::string&) { return json_string(time_text().c_str()); });
    store.set_live("Device.System.LoadAverage", [](const std::string&) { return json_real(load_average()); });
    // "Device.DeviceInfo.SoftwareVersion" is the one that is stored.
    store.set_live("InternetGatewayDevice.DeviceInfo.SoftwareVersion",
                   [&device](const std::string&) { return json_string(device.version.c_str()); });
}

/// What the system tells about one process.
struct Process {
    char state = 'S';
    int64_t cpu_ms = 0;
    int64_t size_kib = 0;
};

// The host's process that a row of the table stands for: the first one, or the daemon itself. 0: it stands
// for none, and what the store holds is shown.
pid_t host_process(Store& store, const std::string& row) {
    const char* command = json_string_value(store.value(row + ".Command"));
    if (command && strcmp(command, "obxd") == 0) return getpid();
    return command && strcmp(command, "init") == 0 ? 1 : 0;
}

bool read_process(pid_t pid, Process& process) {
    std::string text = system_text("/proc/" + std::to_string(pid) + "/stat");
    size_t behind_name = text.rfind(") ");
    unsigned long user = 0;
    unsigned long system = 0;
    long pages = 0;
    if (behind_name == std::string::npos ||
        sscanf(text.c_str() + behind_name + 2,
               "%c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu %*d %*d %*d %*d %*d %*d %*u %*u %ld",
               &process.state, &user, &system, &pages) != 4)
        return false;
    process.cpu_ms = static_cast<int64_t>(user + system) * 1000 / sysconf(_SC_CLK_TCK);
    process.size_kib = pages * (sysconf(_SC_PAGESIZE) / 1024);
    return true;
}

const char* state_text(char state) {
    switch (state) {
        case 'R':
            return "Running";
        case 'T':
        case 't':
            return "Stopped";
        case 'I':
            return "Idle";
        case 'D':
            return "Uninterruptible";
        case 'Z':
            return "Zombie";
        default:
            return "Sleeping";
    }
}

json_t* process_value(std::string_view name, pid_t pid, const Process& process) {
    if (name == "PID") return json_integer(pid);
    if (name == "Size") return json_integer(process.size_kib);
    if (name == "CPUTime") return json_integer(process.cpu_ms);
    return json_string(state_text(process.state));
}

void register_processes(Store& store) {
    for (const char* name : {"PID", "Size", "CPUTime", "State"}) {
        std::string path = std::string("DeviceInfo.ProcessStatus.Process.*.") + name;
        show(store, path, [&store](const std::string& full) {
            Process process;
            pid_t pid = host_process(store, full.substr(0, ox_tr_path_parent(full)));
            if (pid && read_process(pid, process)) return process_value(ox_tr_path_leaf(full), pid, process);
            return static_cast<json_t*>(nullptr);
        });
    }
}

void register_caller(Device& device) {
    device.store.set_live("Device.Users.CurrentUser", [&device](const std::string&) {
        return json_string(device.asker.caller ? device.asker.caller->user.c_str() : "");
    });
    device.store.set_live("Device.Users.SystemAccess", [&device](const std::string&) {
        return json_boolean(device.asker.caller && device.asker.caller->system_access);
    });
}

}  // namespace

void live_register(Device& device) {
    Store& store = device.store;
    register_host(device);
    register_processes(store);
    register_caller(device);
    store.set_live("Device.DeviceInfo.UpgradeStatus",
                   [&device](const std::string&) { return firmware_status(device); });
    for (const char* object : COUNTED_OBJECTS) {
        for (const auto& row : COUNTER_COLUMNS) {
            store.set_live(std::string(object) + ".*.Stats." + row.name,
                           [&device, column = row.column](const std::string& path) {
                               return read_counter(device, path, static_cast<size_t>(column));
                           });
        }
    }
}

void live_reset_counters(Device& device, const std::string& stats) {
    Store& store = device.store;
    std::string interface;
    const Counters* now = host_counters(device, stats, interface);
    if (now) device.live.base[interface] = *now;
    // What the host does not count stands in the store.
    for (const std::string& path : model_children(store, stats)) {
        if (json_integer_value(store.value(path)) > 0) store.set_value(path, json_integer(0));
    }
}

}  // namespace obxd
