// The device that the daemon plays: what it is, its saved state, its reboots.
#pragma once

#include <stdint.h>

#include <array>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "answers.hpp"
#include "device/journal.hpp"
#include "device/open_change.hpp"
#include "device/password_gate.hpp"
#include "device/state_dir.hpp"
#include "net/loop.hpp"
#include "store/store.hpp"
#include "users/users.hpp"

namespace obxd {

/// What a device is started with.
struct DeviceOptions {
    std::string model;      ///< file of the model, as the build configuration tells it
    std::string state_dir;  ///< "": a temporary one
    int reboot_ms = 500;
    int flash_ms = 2000;
    std::vector<std::string> upload_dirs;  ///< where uploads may be written beside the state directory
};

/// Who the request that is being answered comes from: null and 0 outside of one.
struct Asker {
    const Caller* caller = nullptr;
    uint64_t client = 0;     ///< tells connections apart
    std::string source;      ///< where it comes from; "" for local root and the device itself
    bool in_change = false;  ///< what it alters belongs to the open change
};

/// Values of Device.DeviceInfo.UpgradeStatus.
enum UpgradeStatus {
    UPGRADE_REST = 0,
    UPGRADE_WRITING = 1,
    UPGRADE_VERIFYING = 2,
    UPGRADE_DONE = -1,    ///< the last order was flashed to the end
    UPGRADE_FAILED = -2,  ///< it was refused or cut off
};

constexpr int64_t SHOW_END_MS = 400;  ///< the end of flashing can be seen before the device goes down

/// An image that was fetched and checked and waits for the order to flash it.
struct Transaction {
    std::string id;  ///< "": there is none
    std::string url, md5;
    std::string file;
    std::string version;
};

/// Counters of an interface, in the order of the system's table.
using Counters = std::array<uint64_t, 16>;

/// What values that are computed when they are read need from one reading to the next.
struct LiveState {
    std::map<std::string, Counters> base;        ///< counted from, by the interface's path
    std::map<std::string, Counters> interfaces;  ///< the system's table as it was last read
    int64_t interfaces_read = 0;                 ///< when that was (ms); 0: never
    uint64_t cpu_total = 0;                      ///< ticks of the processors at the last reading
    uint64_t cpu_idle = 0;
    int cpu_usage = 0;  ///< per cent
};

/// What the last boot came from.
struct Boot {
    bool remote = false;      ///< a request asked for it
    const char* reason = "";  ///< for people
    bool updated = false;     ///< it brought another firmware
};

struct Device {
    Loop& loop;
    Store& store;
    const Users& users;
    DeviceOptions options;
    std::function<void()> go_down;            ///< closes all connections, and lets nobody connect
    std::function<void()> come_up;            ///< lets clients connect again
    std::function<void(json_t* event)> tell;  ///< sends an event of the device; takes it over

    Asker asker;
    OpenChange change;
    PasswordGate passwords;
    Journal journal;
    StateDir state;
    std::string version;  ///< of the running firmware
    std::string mode;     ///< DeviceMode of the last Reboot; "" where the configuration says it
    int64_t booted = 0;   ///< ms of the monotonic clock
    Boot boot;
    uint64_t boots = 0;  ///< work of an earlier boot is void
    bool rebooting = false;
    bool flashing = false;
    bool flash_checked = false;  ///< the image was read back and is right
    uint64_t flashes = 0;        ///< work of an earlier flash is void
    int progress = 0;
    int upgrade_status = UPGRADE_REST;
    /// Connections whose order was refused while another's image is flashed: theirs alone has failed.
    std::set<uint64_t> refused;
    uint64_t files = 0;  ///< numbers temporary files
    Transaction transaction;
    LiveState live;
    std::map<uint32_t, std::string> restore_points;  ///< by their rows in the table of configuration files
};

/// Prepares the state directory and boots: the saved configuration is in force afterwards. False with one
/// line in `error`.
bool device_start(Device& device, std::string& error);
/// Removes the image of a transaction that waits, and the state directory where it is a temporary one.
void device_stop(Device& device);

/// Has the device go down and come back, after `delay_ms`; later where flashing is cut off by it, so that
/// this can be seen.
void device_begin_reboot(Device& device, int64_t delay_ms, const char* cause);
/// Puts what belongs to the running device (version, mode, upgrade state, restore points) into the store.
void device_apply(Device& device);
/// Writes version and mode down. False when that fails.
bool device_save_state(Device& device);
/// A name for a temporary file.
std::string device_temp_file(Device& device);
/// True when `mode` is one of those that the model allows.
bool device_mode_allowed(Device& device, const std::string& mode);
/// Tells of an event: `params` is taken over and gets the member "Event".
void device_event(Device& device, const char* name, json_t* params);
/// The request Reboot.
void device_reboot(Device& device, const json_t* params, const Reply& reply);

}  // namespace obxd
