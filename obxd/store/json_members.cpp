#include "json_members.hpp"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "ox_tr_names.hpp"

namespace obxd {
namespace {

struct Known {
    const char* name;
    char kind;  ///< b boolean, i integer, n number, s text, a array, * anything
    bool wire;  ///< sent to clients as it stands
    bool own;   ///< of this node alone: equal parameters may differ in it
};
const Known KNOWN[] = {
    {"type", 's', false, false},
    {"access", 's', false, false},
    {"read", 's', false, false},
    {"write", 's', false, false},
    {"items", 's', false, false},
    {"from", 's', false, false},
    {"nullValue", 's', false, false},
    {"counts", 's', false, true},
    {"hidden", 'b', false, true},
    {"mandatory", 'b', false, true},
    {"description", 's', false, true},
    {"units", 's', false, true},
    {"since", 's', false, true},
    {"status", 's', false, false},
    {"keys", 'a', false, false},
    {"enable", 's', false, false},
    {"counter", 's', false, false},
    {"const", 'b', true, false},
    {"multi", 'b', false, false},
    {"ordered", 'b', false, false},
    {"runtime", 'b', false, false},
    {"unique", 'b', true, false},
    {"async", 'b', false, false},
    {"get_before_set", 'b', true, false},
    {"ignore_handler_set", 'b', true, false},
    {"base", 'i', true, false},
    {"default", '*', false, false},
    {"defaultType", 's', false, false},
    {"enum", 'a', false, false},
    {"ranges", 'a', false, false},
    {"sizes", 'a', false, false},
    {"listSizes", 'a', false, false},
    {"patterns", 'a', false, false},
    {"brackets", 's', false, false},
    {"minLength", 'i', false, false},
    {"maxLength", 'i', false, false},
    {"minInclusive", 'n', false, false},
    {"maxInclusive", 'n', false, false},
    {"minCount", 'i', false, false},
    {"maxCount", 'i', false, false},
    {"regex", 's', false, false},
    {"foreign_key", 's', true, false},
    {"weak", 'b', false, false},
    {"target", 's', false, false},
    {"targetDataType", 's', false, false},
    {"offValue", '*', true, false},
    {"handlers", 'a', true, false},
    {"mappings", 'a', true, false},
    {"relations", 'a', true, false},
};

bool kind_fits(char kind, const json_t* value) {
    switch (kind) {
        case 'b':
            return json_is_boolean(value);
        case 'i':
            return json_is_integer(value);
        case 'n':
            return json_is_number(value);
        case 's':
            return json_is_string(value);
        case 'a':
            return json_is_array(value);
        default:
            return true;
    }
}

constexpr char WRITE_ONCE[] = "writeOnceReadOnly";
constexpr const char* DEFAULT_WORDS[] = {nullptr, "object", "factory", "implementation", "parameter", "made"};

}  // namespace

const char* member_text(const json_t* given, const char* key) {
    return json_string_value(json_object_get(given, key));
}

bool member_flag(const json_t* given, const char* key) {
    return json_is_true(json_object_get(given, key));
}

bool default_kind_parse(const char* text, DefaultKind& kind) {
    kind = DefaultKind::NONE;
    if (!text) return true;
    for (size_t i = 1; i < std::size(DEFAULT_WORDS); i++)
        if (strcmp(DEFAULT_WORDS[i], text) == 0) kind = static_cast<DefaultKind>(i);
    return kind != DefaultKind::NONE;
}

const char* default_kind_text(DefaultKind kind) {
    return DEFAULT_WORDS[static_cast<size_t>(kind)];
}

bool members_check(json_t* given, std::string& why) {
    auto fail = [&](const std::string& text) {
        why = text;
        return false;
    };
    const char* key;
    json_t* value;
    json_object_foreach(given, key, value) {
        if (strcmp(key, OX_TR_INPUT) == 0 || strcmp(key, OX_TR_OUTPUT) == 0 || strcmp(key, MODEL_EVENTS) == 0)
            continue;
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
    if (access && strcmp(access, "readOnly") != 0 && strcmp(access, "readWrite") != 0 &&
        strcmp(access, WRITE_ONCE) != 0)
        return fail("\"access\" is \"readOnly\", \"readWrite\" or \"writeOnceReadOnly\"");
    Status status;
    if (!status_parse(member_text(given, "status"), status))
        return fail("\"status\" is \"current\", \"deprecated\", \"obsoleted\" or \"deleted\"");
    DefaultKind kind;
    if (!default_kind_parse(member_text(given, "defaultType"), kind))
        return fail(
            "\"defaultType\" is \"object\", \"factory\", \"implementation\", \"parameter\" or \"made\"");
    return true;
}

Facts members_facts(Model& model, json_t* given) {
    auto text = [&](const char* key) { return std::string_view(member_text(given, key) ?: ""); };
    Facts facts;
    facts.writable = text("access") == "readWrite" || text("access") == WRITE_ONCE;
    facts.write_once = text("access") == WRITE_ONCE;
    facts.read_rank = rank_parse(member_text(given, "read"));
    facts.write_rank = rank_parse(member_text(given, "write"));
    status_parse(member_text(given, "status"), facts.status);
    facts.description = model.texts.keep(text("description"));
    facts.since = model.texts.keep(text("since"));
    facts.units = model.texts.keep(text("units"));
    facts.multi = member_flag(given, "multi");
    facts.ordered = member_flag(given, "ordered");
    facts.counter = text("counter");
    facts.enable = text("enable");
    facts.hidden = member_flag(given, "hidden");
    facts.mandatory = member_flag(given, "mandatory");
    facts.runtime = member_flag(given, "runtime");
    facts.async = member_flag(given, "async");
    facts.initial = json_object_get(given, "default");
    default_kind_parse(member_text(given, "defaultType"), facts.default_kind);
    auto count = [&](const char* key, uint32_t otherwise) {
        json_t* bound = json_object_get(given, key);
        json_int_t number = std::clamp<json_int_t>(json_integer_value(bound), 0, UINT32_MAX);
        return bound ? static_cast<uint32_t>(number) : otherwise;
    };
    facts.min_count = count("minCount", 0);
    facts.max_count = count("maxCount", UINT32_MAX);
    return facts;
}

JsonRef members_attrs(json_t* given) {
    JsonRef attrs(json_object());
    for (const Known& known : KNOWN) {
        json_t* value = known.wire ? json_object_get(given, known.name) : nullptr;
        bool is_value = strcmp(known.name, "offValue") == 0;
        if (value && (is_value || !json_is_false(value))) json_object_set(attrs, known.name, value);
    }
    return attrs;
}

JsonRef members_shared(json_t* given) {
    JsonRef shared(json_incref(given));
    bool copied = false;
    for (const Known& known : KNOWN) {
        if (!known.own || !json_object_get(shared, known.name)) continue;
        if (!copied) shared.reset(json_copy(given));
        copied = true;
        json_object_del(shared, known.name);
    }
    return shared;
}

}  // namespace obxd
