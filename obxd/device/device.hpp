// The device that the daemon plays: its saved state, firmware, reboots, and the methods of its model.
#pragma once

#include <stdint.h>
#include <time.h>

#include <array>
#include <map>
#include <set>
#include <string>

#include "store.hpp"

namespace obxd {

struct Server;
struct Request;

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

struct Device {
    Server& server;
    std::string state_dir;   ///< absolute
    bool temporary = false;  ///< the directory is removed at the end
    std::string version;     ///< of the running firmware
    std::string mode;        ///< DeviceMode of the last Reboot; "" where the configuration says it
    int64_t booted = 0;      ///< ms of the monotonic clock
    uint64_t boots = 0;      ///< work of an earlier boot is void
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
    /// Interface counters (in the order of the system's table) from which is counted, by the interface's
    /// path.
    std::map<std::string, std::array<uint64_t, 16>> counter_base;
    std::map<uint32_t, std::string> restore_points;  ///< by their rows in the table of configuration files
};

/// Prepares the state directory and boots: the saved configuration is in force afterwards. False with one
/// line in `error`.
bool device_start(Device& device, std::string& error);
/// Removes what shall not stay.
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
/// Sends an event of group 2: `params` is taken over and gets the member "Event".
void device_event(Device& device, const char* name, json_t* params);

/// The running configuration as a file's text.
std::string config_text(Device& device);
/// Puts a configuration file in force. False with `error`, the old one still in force. `adopt_mode`: its
/// device mode counts more than the one of the last Reboot.
bool config_load(Device& device, const std::string& file, bool adopt_mode, std::string& error);
std::string config_path(const Device& device);

/// The file of a restore point, be it there or not.
std::string restore_point_file(const Device& device, const std::string& name);
/// False when the model itself has a configuration file of that name.
bool restore_point_name_free(Device& device, const std::string& name);
/// Brings the table of configuration files up to date with the restore points that there are.
void restore_points_list(Device& device);
/// The name of the restore point that the row of that table stands for, or null.
const std::string* restore_point_at(const Device& device, const std::string& object);

/// Replaces or makes the file in one step. False with errno.
bool write_file(const std::string& path, const std::string& text);

/// Back to the defaults, which also forgets what was saved. False when the new state cannot be written.
bool device_reset(Device& device, bool clean_all, const char* mode);

/// Requests.
void device_save_config(Request& request);
void device_reboot(Request& request);
void device_factory_reset(Request& request);
void device_download(Request& request);
void device_upload(Request& request);
void device_execute(Request& request);

/// The firmware kind of Download.
void firmware_download(Device& device, Request& request);
/// What UpgradeStatus is for the connection that asks: a new reference.
json_t* firmware_status(Device& device);
/// Ends the flashing where it is; the running firmware stays. False when nothing is flashed.
bool firmware_cut_off(Device& device);
/// Forgets the transaction and its file.
void firmware_cancel(Device& device);

/// The present time, and any, as a dateTime.
std::string time_text();
std::string time_text(const timespec& time);
/// Registers the values that are computed when they are read.
void live_register(Device& device);
/// Counts from zero again for the interface that holds the object `stats` (as in
/// "Device.Ethernet.Interface.1.Stats").
void live_reset_counters(Device& device, const std::string& stats);

/// The member's text; null when it is absent, null or no text.
const char* text_param(const json_t* params, const char* name);

}  // namespace obxd
