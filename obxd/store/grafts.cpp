#include "grafts.hpp"

#include <string.h>

#include "ox_tr_names.hpp"

namespace obxd {
namespace {

const char* const MODES[] = {"Disabled", "Temporary", "Permanent", nullptr};
const char* const DEVICE_MODES[] = {"Router", "Bridge", "AccessPoint", "Repeater", nullptr};

struct Graft {
    const char* object;  ///< its path, "" for the top
    const char* name;
    const char* type;
    int read_rank;
    bool writable, runtime;
    const char* initial;         ///< of a text; null: none
    const char* const* choices;  ///< of a text, or null
    const char* description;
};
const Graft GRAFTS[] = {
    {"", "DataModelVersion", "string", RANK_GUEST, false, false, nullptr, nullptr,
     "The version of the data model."},
    {"Device.DeviceInfo", "SoftwareVersion", "string", -1, false, false, nullptr, nullptr,
     "The version of the firmware that runs."},
    {"Device.DeviceInfo", "DeviceMode", "string", -1, true, false, DEVICE_MODES[0], DEVICE_MODES,
     "What the device is used as."},
    {"Device.DeviceInfo", "UpgradeStatus", "int", -1, false, true, nullptr, nullptr,
     "0 at rest, positive while firmware is flashed, -1 when it was, -2 when that failed."},
    {"Device.DeviceInfo", "UpgradeProgress", "int", -1, false, true, nullptr, nullptr,
     "How much of the firmware is flashed, per cent."},
    {"Device.Users", "CurrentUser", "string", RANK_GUEST, false, true, nullptr, nullptr,
     "The user who asks."},
    {"Device.Users", "SystemAccess", "boolean", RANK_GUEST, false, true, nullptr, nullptr,
     "Whether the user who asks has access to the system."},
    {"Device.System", "DebugMode", "string", -1, false, false, MODES[0], MODES,
     "Whether the device can be debugged."},
};
constexpr char DEBUG_OBJECT[] = "Device.System", DEBUG_METHOD[] = "Debug";

Limits limits_of(const char* type, const char* const* choices) {
    Limits limits;
    limits.type = ox_tr_dm_type_parse(type);
    for (; choices && *choices; choices++) limits.choices.emplace_back().value.reset(json_string(*choices));
    return limits;
}

bool parameter_graft(Model& model, Schema* parent, const Graft& graft, const char* initial, Shapes& shapes,
                     std::string& why) {
    Schema* schema = build_child(parent, graft.name, why);
    if (!schema) return false;
    JsonRef value(initial ? json_string(initial) : nullptr);
    Facts facts;
    facts.read_rank = graft.read_rank;
    facts.writable = graft.writable;
    facts.runtime = graft.runtime;
    facts.initial = value;
    facts.description = model.texts.keep(graft.description);
    return build_parameter(schema, facts, graft.type, limits_of(graft.type, graft.choices), shapes, why);
}

bool argument_graft(Schema* input, const char* name, const char* const* choices, bool hidden, Shapes& shapes,
                    std::string& why) {
    Schema* schema = build_child(input, name, why);
    if (!schema) return false;
    JsonRef initial(json_string(choices ? choices[0] : ""));
    Facts facts;
    facts.writable = true;
    facts.hidden = hidden;
    facts.initial = initial;
    return build_parameter(schema, facts, "string", limits_of("string", choices), shapes, why);
}

bool debug_graft(Schema* parent, Shapes& shapes, std::string& why) {
    Schema* schema = build_child(parent, DEBUG_METHOD, why);
    if (!schema) return false;
    Facts facts;
    facts.writable = true;
    build_method(schema, facts);
    auto input = build_arguments(schema, OX_TR_INPUT);
    if (!build_object(input.get(), {}, why) ||
        !argument_graft(input.get(), "Mode", MODES, false, shapes, why) ||
        !argument_graft(input.get(), "UserPassword", nullptr, true, shapes, why) ||
        !build_object_end(input.get(), why))
        return false;
    build_input_end(schema, std::move(input));
    return true;
}

}  // namespace

const std::vector<std::string_view>& graft_objects() {
    static const std::vector<std::string_view> objects = {"Device.DeviceInfo", "Device.Users",
                                                          "Device.System"};
    return objects;
}

bool graft_children(Model& model, Schema* object, std::string_view path, const std::string& version,
                    Shapes& shapes, std::string& why) {
    for (const Graft& graft : GRAFTS) {
        if (path != graft.object || schema_child(object, graft.name)) continue;
        const char* initial = graft.object[0] ? graft.initial : version.c_str();
        if (!parameter_graft(model, object, graft, initial, shapes, why)) return false;
    }
    bool debug = path == DEBUG_OBJECT && !schema_child(object, DEBUG_METHOD) &&
                 !schema_child(object, std::string(DEBUG_METHOD) + "()");
    return !debug || debug_graft(object, shapes, why);
}

}  // namespace obxd
