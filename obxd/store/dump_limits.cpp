#include "dump_limits.hpp"

#include <string.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace obxd {
namespace {

/// The built-in type texts by their codes.
constexpr struct {
    int type;
    const char* text;
} TYPES[] = {
    {OX_TR_STRING, "string"},
    {OX_TR_BOOLEAN, "boolean"},
    {OX_TR_INT, "int"},
    {OX_TR_UNSIGNED_INT, "unsignedInt"},
    {OX_TR_LONG, "long"},
    {OX_TR_UNSIGNED_LONG, "unsignedLong"},
    {OX_TR_DECIMAL, "decimal"},
    {OX_TR_DATE_TIME, "dateTime"},
    {OX_TR_BASE64, "base64"},
    {OX_TR_HEX_BINARY, "hexBinary"},
    {OX_TR_IP_ADDRESS, "IPAddress"},
    {OX_TR_IP_PREFIX, "IPPrefix"},
    {OX_TR_MAC_ADDRESS, "MACAddress"},
    {OX_TR_URL, "URL"},
    {OX_TR_ALIAS, "Alias"},
    {OX_TR_UUID, "UUID"},
    {OX_TR_JSON, "json"},
    {OX_TR_PATH_REF, "pathRef"},
    {OX_TR_FLAG, "flag"},
};

const char* base_text(int type) {
    auto row = std::find_if(std::begin(TYPES), std::end(TYPES), [type](auto& r) { return r.type == type; });
    return row == std::end(TYPES) ? "string" : row->text;
}

/// The type of an item, by a name that tells the version of addresses too.
std::string item_text(const Limits& limits) {
    std::string text = base_text(limits.type);
    if (limits.family) text = (limits.family == 4 ? "IPv4" : "IPv6") + text.substr(2);
    return text;
}

bool is_built_in(const std::string& name) {
    return name == "list" ||
           std::any_of(std::begin(TYPES), std::end(TYPES), [&](auto& r) { return name == r.text; });
}

void sizes_dump(const std::vector<Size>& sizes, const char* name, json_t* members) {
    if (sizes.empty()) return;
    json_t* rows = json_array();
    for (const Size& size : sizes) {
        json_t* row = json_object();
        if (size.min > 0) json_object_set_new(row, "min", json_integer(size.min));
        if (size.max >= 0) json_object_set_new(row, "max", json_integer(size.max));
        json_array_append_new(rows, row);
    }
    json_object_set_new(members, name, rows);
}

void list_dump(const Limits& limits, json_t* members) {
    if (!limits.list) return;
    if (limits.items.min > 0) json_object_set_new(members, "minCount", json_integer(limits.items.min));
    if (limits.items.max >= 0) json_object_set_new(members, "maxCount", json_integer(limits.items.max));
    sizes_dump(limits.list_sizes, "listSizes", members);
    if (limits.brackets != Brackets::LEGACY)
        json_object_set_new(members, "brackets",
                            json_string(limits.brackets == Brackets::REQUIRED ? "required" : "prohibited"));
}

/// Adds a type; of a list (`list`, else null) with how many items it has.
void type_add(json_t* types, const std::string& name, const std::string& base, const Limits* list = nullptr) {
    if (is_built_in(name) || json_object_get(types, name.c_str())) return;
    json_t* members = json_pack("{s:s}", "type", base.c_str());
    if (list) list_dump(*list, members);
    json_object_set_new(types, name.c_str(), members);
}

/// Defines the type of a parameter down to built-in ones.
void types_add(const Limits& limits, std::string type, json_t* types) {
    const Limits* inner = nullptr;
    bool list = limits.list;
    if (type.ends_with("[]")) {
        type.resize(type.size() - 2);
        inner = limits.inner.get();
        list = inner != nullptr;
    }
    std::string item = item_text(limits);
    if (list || type == item) type_add(types, item, base_text(limits.type));
    if (type != item) type_add(types, type, list ? item + "[]" : base_text(limits.type), inner);
}

template <typename Number>
json_t* number(Number value) {
    if constexpr (std::is_floating_point_v<Number>)
        return json_real(value);
    else
        return json_integer(value);
}

template <typename Number>
void ranges_dump(const std::vector<Range<Number>>& ranges, json_t* members) {
    if (ranges.empty()) return;
    json_t* rows = json_array();
    for (const auto& range : ranges) {
        json_t* row = json_object();
        if (range.has_min) json_object_set_new(row, "min", number(range.min));
        if (range.has_max) json_object_set_new(row, "max", number(range.max));
        if (range.step != 0) json_object_set_new(row, "step", number(range.step));
        json_array_append_new(rows, row);
    }
    json_object_set_new(members, "ranges", rows);
}

json_t* choice_dump(const Choice& choice) {
    bool plain =
        !choice.description && !choice.read_only && !choice.optional && choice.status == Status::CURRENT;
    if (plain) return json_incref(choice.value.get());
    json_t* row = json_pack("{s:O}", "value", choice.value.get());
    if (choice.description) json_object_set_new(row, "description", json_string(choice.description));
    if (choice.read_only) json_object_set_new(row, "access", json_string("readOnly"));
    if (choice.optional) json_object_set_new(row, "optional", json_true());
    if (choice.status != Status::CURRENT)
        json_object_set_new(row, "status", json_string(status_text(choice.status)));
    return row;
}

void choices_dump(const Limits& limits, json_t* members) {
    if (limits.choices.empty()) return;
    json_t* rows = json_array();
    for (const Choice& choice : limits.choices) json_array_append_new(rows, choice_dump(choice));
    json_object_set_new(members, "enum", rows);
    // They say it themselves.
    bool described = std::any_of(limits.choices.begin(), limits.choices.end(),
                                 [](const Choice& choice) { return choice.description; });
    if (described) json_object_del(members, "mappings");
}

void patterns_dump(const Limits& limits, json_t* members) {
    json_t* rows = json_array();
    for (const Pattern& pattern : limits.patterns) {
        if (pattern.syntax == Syntax::POSIX)
            json_object_set_new(members, "regex", json_string(pattern.text.c_str()));
        else
            json_array_append_new(rows, json_string(pattern.text.c_str()));
    }
    if (json_array_size(rows)) json_object_set(members, "patterns", rows);
    json_decref(rows);
}

void references_dump(const Limits& limits, json_t* members) {
    static const char* const WORDS[] = {"any", "object", "row", "single", "parameter"};
    if (!limits.from.empty()) json_object_set_new(members, "from", json_string(limits.from.c_str()));
    if (limits.null_value) json_object_set_new(members, "nullValue", json_string(limits.null_value->c_str()));
    std::string targets;
    for (const std::string& target : limits.targets)
        targets += (targets.empty() ? "" : ",") + target + (target.ends_with('.') ? "" : ".");
    if (!targets.empty()) json_object_set_new(members, "foreign_key", json_string(targets.c_str()));
    if (limits.target_type != TargetType::ANY)
        json_object_set_new(members, "target", json_string(WORDS[static_cast<int>(limits.target_type)]));
    if (!limits.target_data_type.empty())
        json_object_set_new(members, "targetDataType", json_string(limits.target_data_type.c_str()));
    if (limits.weak) json_object_set_new(members, "weak", json_true());
}

}  // namespace

void limits_dump(const Limits& limits, const char* type, json_t* members, json_t* types) {
    json_object_set_new(members, "type", json_string(type));
    if (strcmp(type, "list") == 0) {
        std::string item = item_text(limits);
        type_add(types, item, base_text(limits.type));
        json_object_set_new(members, "items", json_string(item.c_str()));
    } else {
        types_add(limits, type, types);
    }
    ranges_dump(limits.ranges, members);
    ranges_dump(limits.decimal_ranges, members);
    sizes_dump(limits.sizes, "sizes", members);
    choices_dump(limits, members);
    patterns_dump(limits, members);
    references_dump(limits, members);
    list_dump(limits, members);
}

}  // namespace obxd
