#include "json_members.hpp"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "ox_tr_names.hpp"

namespace obxd {
namespace {

struct Known {
    const char* name;
    char kind;  ///< b boolean, i integer, s text, a array, * anything
    bool wire;  ///< sent to clients as it stands
};
const Known KNOWN[] = {
    {"type", 's', false},        {"access", 's', false},        {"read", 's', false},
    {"write", 's', false},       {"items", 's', false},         {"from", 's', false},
    {"counts", 's', false},      {"hidden", 'b', false},        {"mandatory", 'b', false},
    {"keys", 'a', false},        {"const", 'b', true},          {"multi", 'b', false},
    {"ordered", 'b', true},      {"runtime", 'b', true},        {"unique", 'b', true},
    {"async", 'b', true},        {"get_before_set", 'b', true}, {"ignore_handler_set", 'b', true},
    {"base", 'i', true},         {"default", '*', true},        {"enum", 'a', true},
    {"minLength", 'i', true},    {"maxLength", 'i', true},      {"minInclusive", 'i', true},
    {"maxInclusive", 'i', true}, {"minCount", 'i', true},       {"maxCount", 'i', true},
    {"regex", 's', true},        {"foreign_key", 's', true},    {"offValue", '*', true},
    {"handlers", 'a', true},     {"mappings", 'a', true},       {"relations", 'a', true},
};

bool kind_fits(char kind, const json_t* value) {
    switch (kind) {
        case 'b':
            return json_is_boolean(value);
        case 'i':
            return json_is_integer(value);
        case 's':
            return json_is_string(value);
        case 'a':
            return json_is_array(value);
        default:
            return true;
    }
}

}  // namespace

const char* member_text(const json_t* given, const char* key) {
    return json_string_value(json_object_get(given, key));
}

bool member_flag(const json_t* given, const char* key) {
    return json_is_true(json_object_get(given, key));
}

bool members_check(json_t* given, std::string& why) {
    auto fail = [&](const std::string& text) {
        why = text;
        return false;
    };
    const char* key;
    json_t* value;
    json_object_foreach(given, key, value) {
        if (strcmp(key, OX_TR_INPUT) == 0 || strcmp(key, OX_TR_OUTPUT) == 0) continue;
        auto known = std::find_if(std::begin(KNOWN), std::end(KNOWN),
                                  [key](const Known& row) { return strcmp(row.name, key) == 0; });
        if (known == std::end(KNOWN)) return fail(std::string("unknown attribute \"") + key + "\"");
        if (!kind_fits(known->kind, value))
            return fail(std::string("attribute \"") + key + "\" has the wrong JSON type");
    }
    for (const char* role : {"read", "write"}) {
        const char* text = member_text(given, role);
        if (text && rank_parse(text) < 0) return fail(std::string("no such role \"") + text + "\"");
    }
    const char* access = member_text(given, "access");
    if (access && strcmp(access, "readOnly") != 0 && strcmp(access, "readWrite") != 0)
        return fail("\"access\" is \"readOnly\" or \"readWrite\"");
    return true;
}

Facts members_facts(json_t* given) {
    Facts facts;
    const char* access = member_text(given, "access");
    facts.writable = access && strcmp(access, "readWrite") == 0;
    facts.read_rank = rank_parse(member_text(given, "read"));
    facts.write_rank = rank_parse(member_text(given, "write"));
    facts.multi = member_flag(given, "multi");
    facts.ordered = member_flag(given, "ordered");
    facts.hidden = member_flag(given, "hidden");
    facts.mandatory = member_flag(given, "mandatory");
    facts.runtime = member_flag(given, "runtime");
    if (json_t* bound = json_object_get(given, "maxCount"))
        facts.max_count =
            static_cast<uint32_t>(std::clamp<json_int_t>(json_integer_value(bound), 0, UINT32_MAX));
    return facts;
}

JsonRef members_attrs(json_t* given) {
    JsonRef attrs(json_object());
    for (const Known& known : KNOWN) {
        json_t* value = known.wire ? json_object_get(given, known.name) : nullptr;
        bool is_value = strcmp(known.name, "default") == 0 || strcmp(known.name, "offValue") == 0;
        if (value && (is_value || !json_is_false(value))) json_object_set(attrs, known.name, value);
    }
    return attrs;
}

}  // namespace obxd
