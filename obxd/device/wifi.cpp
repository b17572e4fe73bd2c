#include "device/wifi.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "device/clock.hpp"
#include "device/model_events.hpp"
#include "ox_tr_path.hpp"

namespace obxd {

namespace {

constexpr int64_t LISTEN_MS = 1000;
constexpr int64_t PUSH_BUTTON_MS = 2000;
constexpr size_t MAX_STATIONS = 64;

/// Networks of the neighbourhood.
constexpr struct Neighbor {
    const char* bssid;
    const char* ssid;
    int channel;
    int dbm;
    const char* bandwidth;
    const char* security;
    const char* standards;
} NEIGHBORS[] = {
    {"02:00:5e:20:00:11", "Harbour 4", 1, -71, "20MHz", "WPA2", "g,n"},
    {"02:00:5e:20:00:12", "Lighthouse", 6, -64, "20MHz", "WPA2-PSK-WPA3-SAE", "g,n,ax"},
    {"02:00:5e:20:00:13", "Cafe", 6, -83, "20MHz", "None", "b,g"},
    {"02:00:5e:20:00:14", "printer-7", 11, -77, "20MHz", "WPA2", "n"},
    {"02:00:5e:20:00:21", "Lighthouse", 36, -68, "80MHz", "WPA2-PSK-WPA3-SAE", "ac,ax"},
    {"02:00:5e:20:00:22", "Harbour 4", 100, -79, "80MHz", "WPA3-SAE", "ac,ax"},
};

/// Global operating classes by their highest channel.
constexpr struct {
    int last_channel;
    int number;
} CLASSES[] = {{13, 81}, {14, 82}, {48, 115}, {64, 118}, {144, 121}, {177, 125}};

int operating_class(int channel) {
    for (const auto& row : CLASSES)
        if (channel <= row.last_channel) return row.number;
    return 0;
}

// The channels of a list like "1-13" or "36,40,44".
std::vector<int> parse_channels(const char* text) {
    std::vector<int> channels;
    while (text && *text) {
        char* end = nullptr;
        long first = strtol(text, &end, 10);
        long last = *end == '-' ? strtol(end + 1, &end, 10) : first;
        for (long channel = std::max(first, 1L); channel <= std::min(last, 255L); channel++)
            channels.push_back(static_cast<int>(channel));
        end = strchr(end, ',');
        text = end ? end + 1 : nullptr;
    }
    return channels;
}

bool among(const std::vector<int>& channels, int channel) {
    return std::find(channels.begin(), channels.end(), channel) != channels.end();
}

std::vector<int> radio_channels(Store& store, const std::string& radio) {
    return parse_channels(json_string_value(store.value(radio + ".PossibleChannels")));
}

void put(json_t* outputs, const std::string& prefix, const char* name, json_t* value) {
    json_object_set_new(outputs, (prefix + name).c_str(), value);
}

void put_text(json_t* outputs, const std::string& prefix, const char* name, const char* text) {
    put(outputs, prefix, name, json_string(text));
}

void put_number(json_t* outputs, const std::string& prefix, const char* name, int number) {
    put(outputs, prefix, name, json_integer(number));
}

void put_cipher(json_t* outputs, const std::string& prefix, const Neighbor& neighbor) {
    bool open = strcmp(neighbor.security, "None") == 0;
    put_text(outputs, prefix, "SecurityModeEnabled", neighbor.security);
    put_text(outputs, prefix, "EncryptionMode", open ? "" : "AES");
}

void put_neighbor(json_t* outputs, const std::string& prefix, const std::string& radio,
                  const Neighbor& neighbor) {
    put_text(outputs, prefix, "Radio", radio.c_str());
    put_text(outputs, prefix, "SSID", neighbor.ssid);
    put_text(outputs, prefix, "BSSID", neighbor.bssid);
    put_text(outputs, prefix, "Mode", "Infrastructure");
    put_number(outputs, prefix, "Channel", neighbor.channel);
    put_number(outputs, prefix, "SignalStrength", neighbor.dbm);
    put_cipher(outputs, prefix, neighbor);
    put_text(outputs, prefix, "OperatingFrequencyBand", neighbor.channel < 15 ? "2.4GHz" : "5GHz");
    put_text(outputs, prefix, "OperatingStandards", neighbor.standards);
    put_text(outputs, prefix, "OperatingChannelBandwidth", neighbor.bandwidth);
    put_number(outputs, prefix, "BeaconPeriod", 100);
    put_number(outputs, prefix, "Noise", -94);
    put_number(outputs, prefix, "DTIMPeriod", 2);
}

// Received power and noise are told in half dB from -110 dBm in a scan.
int half_db(int dbm) {
    return 2 * (dbm + 110);
}

void put_bss(json_t* outputs, const std::string& prefix, const Neighbor& neighbor) {
    put_text(outputs, prefix, "BSSID", neighbor.bssid);
    put_text(outputs, prefix, "SSID", neighbor.ssid);
    put_number(outputs, prefix, "SignalStrength", half_db(neighbor.dbm));
    put_text(outputs, prefix, "ChannelBandwidth", neighbor.bandwidth);
    put_cipher(outputs, prefix, neighbor);
    put_text(outputs, prefix, "OperatingStandards", neighbor.standards);
    put_number(outputs, prefix, "DTIMPeriod", 2);
    put_number(outputs, prefix, "BeaconPeriod", 100);
}

void put_channel(json_t* outputs, const std::string& prefix, int channel, const std::string& ssid) {
    put_number(outputs, prefix, "Channel", channel);
    put_text(outputs, prefix, "TimeStamp", time_text().c_str());
    int found = 0;
    int busy = 12;
    for (const Neighbor& neighbor : NEIGHBORS) {
        if (neighbor.channel != channel) continue;
        busy += 30;
        if (ssid.empty() || ssid == neighbor.ssid)
            put_bss(outputs, prefix + "NeighborBSS." + std::to_string(++found) + ".", neighbor);
    }
    put_number(outputs, prefix, "Utilization", busy);
    put_number(outputs, prefix, "Noise", half_db(-94));
    put_text(outputs, prefix, "ScanStatus", "0");
}

struct Scan {
    std::vector<int> channels;
    std::string ssid;
    int64_t duration_ms = 0;
};

json_t* scan_outputs(const Scan& scan) {
    json_t* outputs = json_pack("{s:s}", "Status", "Success");
    std::string result = "ScanResult.1.";
    put_text(outputs, result, "TimeStamp", time_text().c_str());
    put_number(outputs, result, "AggregateScanDuration", static_cast<int>(scan.duration_ms));
    put(outputs, result, "ScanType", json_true());
    int classes = 0;
    int place = 0;
    int last_class = -1;
    std::string prefix;
    for (int channel : scan.channels) {
        int number = operating_class(channel);
        if (number != last_class) {
            prefix = result + "OpClassScan." + std::to_string(++classes) + ".";
            put_number(outputs, prefix, "OperatingClass", number);
            last_class = number;
            place = 0;
        }
        put_channel(outputs, prefix + "ChannelScan." + std::to_string(++place) + ".", channel, scan.ssid);
    }
    return outputs;
}

// The channels that the call asks for; all of the radio where it names none. False for one that it lacks.
bool scan_channels(const CallPtr& call, const std::vector<int>& possible, std::vector<int>& channels) {
    std::vector<int> asked;
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(call->inputs.get(), name, value) {
        if (std::string_view(name).starts_with("OpClass.") && std::string_view(name).ends_with(".Channel"))
            asked.push_back(static_cast<int>(json_integer_value(value)));
    }
    for (int channel : possible)
        if (asked.empty() || among(asked, channel)) channels.push_back(channel);
    return std::all_of(asked.begin(), asked.end(), [&](int channel) { return among(possible, channel); });
}

json_t* neighbor_outputs(Store& store) {
    json_t* outputs = json_pack("{s:s}", "Status", "Complete");
    int found = 0;
    for (uint32_t number : store.instances("Device.WiFi.Radio")) {
        std::string radio = "Device.WiFi.Radio." + std::to_string(number);
        if (!json_is_true(store.value(radio + ".Enable"))) continue;
        std::vector<int> channels = radio_channels(store, radio);
        for (const Neighbor& neighbor : NEIGHBORS) {
            if (!among(channels, neighbor.channel)) continue;
            put_neighbor(outputs, "Result." + std::to_string(++found) + ".", radio, neighbor);
        }
    }
    return outputs;
}

void finish_status(const CallPtr& call, const char* status) {
    call_finish(call, json_pack("{s:s}", "Status", status));
}

// A station has its button pushed too, and joins.
const char* station_join(const CallPtr& call, const std::string& access_point) {
    Store& store = call->device.store;
    std::string table = access_point + ".AssociatedDevice";
    std::vector<uint32_t> present = store.instances(table);
    if (present.size() >= MAX_STATIONS) return "Error_Other";
    char address[18];
    unsigned next = present.empty() ? 1 : (present.back() + 1) & 0xffff;
    snprintf(address, sizeof address, "02:00:5e:30:%02x:%02x", next >> 8, next & 0xff);
    JsonRef values(json_pack("{s:s, s:b, s:b, s:s, s:i}", "MACAddress", address, "Active", 1,
                             "AuthenticationState", 1, "AssociationTime", time_text().c_str(),
                             "SignalStrength", -52));
    if (!store.add_instance(table, values)) return "Error_Other";
    station_event(call->device, access_point, address);
    return "Success";
}

}  // namespace

void method_neighbors(const CallPtr& call) {
    loop_after(call->device.loop, LISTEN_MS, [call] {
        if (call->boots == call->device.boots) call_finish(call, neighbor_outputs(call->device.store));
    });
}

void method_channel_scan(const CallPtr& call) {
    Store& store = call->device.store;
    std::string radio = call_object(call);
    if (!json_is_true(store.value(radio + ".Enable"))) return finish_status(call, "Error_Interface_Down");
    Scan scan;
    scan.ssid = call_text(call, "SSID", "");
    if (!scan_channels(call, radio_channels(store, radio), scan.channels))
        return finish_status(call, "Error_Invalid_Input");
    int64_t dwell = std::clamp<int64_t>(call_number(call, "DwellTime", 0), 20, LISTEN_MS);
    scan.duration_ms = dwell * static_cast<int64_t>(scan.channels.size());
    loop_after(call->device.loop, scan.duration_ms, [call, scan] {
        if (call->boots == call->device.boots) call_finish(call, scan_outputs(scan));
    });
}

void method_wps(const CallPtr& call) {
    Store& store = call->device.store;
    std::string wps = call_object(call);
    std::string access_point = wps.substr(0, ox_tr_path_parent(wps));
    if (!json_is_true(store.value(wps + ".Enable")) || !json_is_true(store.value(access_point + ".Enable")))
        return finish_status(call, "Error_Not_Ready");
    loop_after(call->device.loop, PUSH_BUTTON_MS, [call, access_point] {
        if (call->boots == call->device.boots) finish_status(call, station_join(call, access_point));
    });
}

}  // namespace obxd
