#include "wire_attrs.hpp"

#include <math.h>
#include <string.h>

#include <algorithm>

namespace obxd {
namespace {

/// In which order clients get them.
const char* const ORDER[] = {
    "type",         "access",       "perms",    "const",          "ordered",
    "runtime",      "unique",       "async",    "get_before_set", "ignore_handler_set",
    "base",         "default",      "enum",     "minLength",      "maxLength",
    "minInclusive", "maxInclusive", "minCount", "maxCount",       "regex",
    "foreign_key",  "offValue",     "handlers", "mappings",       "relations",
    "multi"};

void set(json_t* attrs, const char* name, json_t* value) {
    if (value && !json_object_get(attrs, name))
        json_object_set_new(attrs, name, value);
    else
        json_decref(value);
}

/// A bound as the wire has it: an integer, or null for one that is none.
json_t* bound(json_int_t number) {
    return json_integer(number);
}
json_t* bound(double number) {
    bool whole = number == floor(number) && fabs(number) < 1e15;
    return whole ? json_integer(static_cast<json_int_t>(number)) : nullptr;
}

template <typename Number>
void ranges_add(json_t* attrs, const std::vector<Range<Number>>& ranges) {
    if (ranges.empty()) return;
    Range<Number> all = ranges[0];
    for (const auto& range : ranges) {
        all.has_min &= range.has_min;
        all.has_max &= range.has_max;
        all.min = std::min(all.min, range.min);
        all.max = std::max(all.max, range.max);
    }
    if (all.has_min) set(attrs, "minInclusive", bound(all.min));
    if (all.has_max) set(attrs, "maxInclusive", bound(all.max));
}

json_t* number(json_int_t value) {
    return json_integer(value);
}
json_t* number(double value) {
    json_t* whole = bound(value);
    return whole ? whole : json_real(value);
}

template <typename Number>
void range_add(json_t* list, const Range<Number>& range) {
    json_t* row = json_object();
    if (range.has_min) json_object_set_new(row, "min", number(range.min));
    if (range.has_max) json_object_set_new(row, "max", number(range.max));
    if (range.step > 0) json_object_set_new(row, "step", number(range.step));
    json_array_append_new(list, row);
}

void sizes_add(json_t* attrs, const std::vector<Size>& sizes, const char* least, const char* most) {
    if (sizes.empty()) return;
    Size all = sizes[0];
    for (const Size& size : sizes) {
        all.min = std::min(all.min, size.min);
        all.max = all.max < 0 || size.max < 0 ? -1 : std::max(all.max, size.max);
    }
    if (all.min > 0) set(attrs, least, json_integer(all.min));
    if (all.max >= 0) set(attrs, most, json_integer(all.max));
}

void choices_add(json_t* attrs, const Limits& limits, bool settable) {
    if (limits.choices.empty()) return;
    json_t *values = json_array(), *mappings = json_array();
    for (const Choice& choice : limits.choices) {
        if (choice.status == Status::DELETED || (settable && !choice_offered(choice))) continue;
        json_array_append(values, choice.value);
        if (!choice.description) continue;
        CharsRef dump(json_is_string(choice.value) ? nullptr : json_dumps(choice.value, JSON_ENCODE_ANY));
        std::string text = dump ? dump.get() : json_string_value(choice.value);
        json_array_append_new(mappings, json_string((text + ": " + choice.description).c_str()));
    }
    set(attrs, "enum", values);
    set(attrs, "mappings", json_array_size(mappings) ? json_incref(mappings) : nullptr);
    json_decref(mappings);
}

json_t* patterns_text(const std::vector<Pattern>& patterns) {
    if (patterns.empty()) return nullptr;
    std::string all;
    for (const Pattern& pattern : patterns) all += (&pattern == &patterns[0] ? "" : "|") + pattern.text;
    return json_string(all.c_str());
}

}  // namespace

JsonRef node_attrs(const Schema* schema, const char* type, const Facts& facts) {
    JsonRef attrs(json_object());
    json_object_set_new(attrs, "type", json_string(type));
    json_object_set_new(attrs, "access", json_string(facts.writable ? READ_WRITE : READ_ONLY));
    std::string perms = perms_text(schema, facts.writable);
    json_object_set_new(attrs, "perms", json_string(perms.c_str()));
    if (!facts.writable) json_object_set_new(attrs, "const", json_true());
    if (facts.ordered) json_object_set_new(attrs, "ordered", json_true());
    if (facts.runtime) json_object_set_new(attrs, "runtime", json_true());
    if (facts.async) json_object_set_new(attrs, "async", json_true());
    if (facts.attrs) json_object_update(attrs, facts.attrs);
    return attrs;
}

void table_attrs_add(json_t* attrs, const Facts& facts) {
    if (!facts.multi) return;
    if (facts.max_count != UINT32_MAX) json_object_set_new(attrs, "maxCount", json_integer(facts.max_count));
    json_object_set_new(attrs, "multi", json_true());
}

JsonRef attrs_in_order(json_t* attrs) {
    JsonRef sorted(json_object());
    for (const char* name : ORDER)
        if (json_t* value = json_object_get(attrs, name)) json_object_set(sorted, name, value);
    json_object_update_missing(sorted, attrs);
    return sorted;
}

void limits_attrs_add(json_t* attrs, const Limits& limits, const Facts& facts) {
    if (facts.initial) set(attrs, "default", json_incref(facts.initial));
    choices_add(attrs, limits, facts.writable);
    ranges_add(attrs, limits.ranges);
    ranges_add(attrs, limits.decimal_ranges);
    sizes_add(attrs, limits.sizes, "minLength", "maxLength");
    if (limits.list) sizes_add(attrs, {limits.items}, "minCount", "maxCount");
    set(attrs, "regex", patterns_text(limits.patterns));
}

void foreign_key_set(Schema* parameter, const std::string& paths) {
    const char* present = json_string_value(json_object_get(parameter->attrs, "foreign_key"));
    if (present && paths == present) return;
    parameter->attrs.reset(json_copy(parameter->attrs));
    json_object_set_new(parameter->attrs, "foreign_key", json_string(paths.c_str()));
}

std::string perms_text(const Schema* schema, bool writable) {
    std::string read = rank_text(schema->read_rank), write = writable ? rank_text(schema->write_rank) : "-";
    if (schema->status == Status::CURRENT) return read + "/" + write;
    // Clients show 19 characters: what is marked has the initials of its roles.
    return read.substr(0, 1) + "/" + write.substr(0, 1) + " " + status_text(schema->status);
}

json_t* ranges_json(const Limits& limits) {
    json_t* list = json_array();
    for (const IntegerRange& range : limits.ranges) range_add(list, range);
    for (const DecimalRange& range : limits.decimal_ranges) range_add(list, range);
    if (json_array_size(list)) return list;
    json_decref(list);
    return nullptr;
}

JsonRef pseudo_attrs(bool writable) {
    JsonRef attrs(json_object());
    json_object_set_new(attrs, "type", json_string("unsignedInt"));
    json_object_set_new(attrs, "access", json_string(writable ? READ_WRITE : READ_ONLY));
    json_object_set_new(attrs, "perms", json_string(writable ? "user/admin" : "user/-"));
    if (writable)
        json_object_set_new(attrs, "default", json_integer(1));
    else
        json_object_set_new(attrs, "const", json_true());
    json_object_set_new(attrs, "runtime", json_true());
    return attrs;
}

}  // namespace obxd
