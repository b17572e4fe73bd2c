#include "load_json.hpp"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/json_members.hpp"
#include "store/ties.hpp"

namespace obxd {
namespace {

constexpr int MAX_DEPTH = 64;

/// The built-in type texts.
const char* const TYPES[] = {"string",       "boolean",  "int",        "unsignedInt", "long",
                             "unsignedLong", "decimal",  "dateTime",   "base64",      "hexBinary",
                             "IPAddress",    "IPPrefix", "MACAddress", "URL",         "Alias",
                             "UUID",         "list",     "json",       "pathRef",     "flag"};

struct Loader {
    std::string& error;
    const json_t* types;
    std::unordered_map<std::string, Shape> shapes;  ///< equal parameters share their attributes
};

bool fail(Loader& loader, const Schema* schema, const std::string& text) {
    loader.error = schema_path(schema) + ": " + text;
    return false;
}

bool is_built_in(const char* type) {
    return std::any_of(std::begin(TYPES), std::end(TYPES),
                       [type](const char* t) { return strcmp(t, type) == 0; });
}

/// Follows named data types down to a built-in one (a "TYPE[]" is a list with these items), adding their
/// members that `merged` does not have. Null with `why`.
const char* base_type(const Loader& loader, const char* type, json_t* merged, std::string& why) {
    for (int depth = 0; depth < 8; depth++) {
        if (is_built_in(type)) return type;
        if (std::string_view(type).ends_with("[]")) {
            if (json_object_get(merged, "items")) {
                why = std::string("\"items\" beside ") + type;
                return nullptr;
            }
            json_object_set_new(merged, "items", json_stringn(type, strlen(type) - 2));
            return "list";
        }
        json_t* definition = json_object_get(loader.types, type);
        const char* base = member_text(definition, "type");
        if (!base) break;
        if (!members_check(definition, why)) return nullptr;
        json_object_update_missing(merged, definition);
        type = base;
    }
    why = std::string("no such type \"") + type + "\"";
    return nullptr;
}

void bounds_read(const json_t* given, Limits& limits) {
    json_t* bound = json_object_get(given, "minInclusive");
    limits.has_min = bound != nullptr;
    limits.min = json_integer_value(bound);
    bound = json_object_get(given, "maxInclusive");
    limits.has_max = bound != nullptr;
    limits.max = json_integer_value(bound);
    limits.min_length = json_integer_value(json_object_get(given, "minLength"));
    limits.min_count = json_integer_value(json_object_get(given, "minCount"));
    if ((bound = json_object_get(given, "maxLength"))) limits.max_length = json_integer_value(bound);
    if ((bound = json_object_get(given, "maxCount"))) limits.max_count = json_integer_value(bound);
}

/// The limits of a parameter of a type; `given` gets the members of the named types that it follows.
bool limits_read(const Loader& loader, const char* type, json_t* given, Limits& limits, std::string& why) {
    const char* base = base_type(loader, type, given, why);
    if (!base) return false;
    limits.type = ox_tr_dm_type_parse(base);
    limits.list = limits.type == OX_TR_LIST;
    if (limits.list) {
        const char* items = member_text(given, "items");
        if (!(base = base_type(loader, items ? items : "string", given, why))) return false;
        limits.type = ox_tr_dm_type_parse(base);
        if (limits.type == OX_TR_LIST || limits.type == OX_TR_JSON) {
            why = "a list holds no lists and no JSON";
            return false;
        }
    }
    bounds_read(given, limits);
    limits.choices.reset(json_incref(json_object_get(given, "enum")));
    const char* standard = member_text(given, "default");
    limits.takes_empty = standard && !*standard;
    if (const char* from = member_text(given, "from")) limits.from = from;
    if (const char* targets = member_text(given, "foreign_key")) limits.targets = targets_split(targets);
    const char* regex = member_text(given, "regex");
    if (!regex || regex_compile(regex, limits.regex)) return true;
    why = std::string("bad regex \"") + regex + "\"";
    return false;
}

bool relations_read(Schema* schema, const json_t* list, std::string& why) {
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t* entry = json_array_get(list, i);
        const json_t* verdict = json_object_get(entry, "verdict");
        const char* match = member_text(entry, "match");
        if (!json_is_integer(verdict) || json_integer_value(verdict) < 0 ||
            json_integer_value(verdict) > VERDICT_CONTINUE || !match || !ox_tr_path_is_exact(match)) {
            why = "a relation has a \"verdict\" of 0 to 3 and a \"match\" path";
            return false;
        }
        schema->relations.push_back({static_cast<Verdict>(json_integer_value(verdict)), match});
    }
    return true;
}

/// What the parameter shares with all that say the same of themselves. Null with `why`.
const Shape* shape_of(Loader& loader, Schema* schema, Facts facts, json_t* given, std::string& why) {
    CharsRef dump(json_dumps(given, JSON_COMPACT));
    std::string key = std::string(rank_text(schema->read_rank)) + rank_text(schema->write_rank) + dump.get();
    Shape& shape = loader.shapes[key];
    if (shape.limits) return &shape;
    JsonRef merged(json_copy(given));
    auto limits = std::make_shared<Limits>();
    const char* type = member_text(given, "type");
    if (!limits_read(loader, type, merged, *limits, why)) return nullptr;
    JsonRef attrs = members_attrs(merged);
    facts.attrs = attrs;
    shape = build_shape(schema, facts, type, std::move(limits));
    return &shape;
}

bool parameter_load(Loader& loader, Schema* schema, json_t* given) {
    std::string why;
    Facts facts = members_facts(given);
    build_ranks(schema, facts);
    const Shape* shape = shape_of(loader, schema, facts, given, why);
    bool fine = shape && relations_read(schema, json_object_get(given, "relations"), why) &&
                build_parameter(schema, facts, *shape, why);
    return fine || fail(loader, schema, why);
}

bool object_load(Loader& loader, Schema* schema, json_t* given, int depth);

bool method_load(Loader& loader, Schema* schema, json_t* given, int depth) {
    Facts facts = members_facts(given);
    JsonRef attrs = members_attrs(given);
    facts.attrs = attrs;
    if (!json_object_get(given, "access")) facts.writable = true;
    build_method(schema, facts);
    // The outputs are checked like the inputs, but clients are told of them only by an answer.
    for (const char* part : {OX_TR_INPUT, OX_TR_OUTPUT}) {
        json_t* arguments = json_object_get(given, part);
        if (!arguments) continue;
        if (!json_is_object(arguments)) return fail(loader, schema, std::string(part) + " is no JSON object");
        auto object = build_arguments(schema, part);
        if (!object_load(loader, object.get(), arguments, depth + 1)) return false;
        if (strcmp(part, OX_TR_INPUT) == 0) build_input_end(schema, std::move(object));
    }
    return true;
}

bool child_load(Loader& loader, Schema* parent, const char* name, json_t* given, int depth) {
    std::string why;
    Schema* child = build_child(parent, name, why);
    if (!child) return fail(loader, parent, why);
    if (!json_is_object(given)) return fail(loader, child, "is no JSON object");
    const char* type = member_text(given, "type");
    if (!type) return object_load(loader, child, given, depth + 1);
    if (!members_check(given, why)) return fail(loader, child, why);
    if (strcmp(type, "method") == 0) return method_load(loader, child, given, depth + 1);
    return parameter_load(loader, child, given);
}

bool keys_load(Schema* schema, const json_t* keys, std::string& why) {
    for (size_t i = 0; i < json_array_size(keys); i++) {
        const json_t* key = json_array_get(keys, i);
        std::vector<std::string_view> names;
        for (size_t j = 0; j < json_array_size(key); j++) {
            const char* name = json_string_value(json_array_get(key, j));
            names.push_back(name ? name : "?");
        }
        if (!build_key(schema, names, why)) return false;
    }
    return true;
}

/// Ties counters to the objects they count.
bool counters_load(Loader& loader, Schema* schema, const json_t* given) {
    for (Schema* parameter : schema->parameters) {
        const char* counts = member_text(json_object_get(given, parameter->name.c_str()), "counts");
        if (!tie_counter(parameter, counts ? counts : ""))
            return fail(loader, parameter,
                        std::string("\"counts\" names no multi-instance object: ") + counts);
    }
    return true;
}

bool object_load(Loader& loader, Schema* schema, json_t* given, int depth) {
    if (depth > MAX_DEPTH) return fail(loader, schema, "nested too deeply");
    json_t* own = json_object_get(given, OX_TR_ATTR);
    if (own && !json_is_object(own)) return fail(loader, schema, "\"#attr\" is no JSON object");
    std::string why;
    if (own && !members_check(own, why)) return fail(loader, schema, why);
    Facts facts = members_facts(own);
    JsonRef attrs = members_attrs(own);
    facts.attrs = attrs;
    if (!build_object(schema, facts, why)) return fail(loader, schema, why);
    const char* name;
    json_t* child;
    json_object_foreach(given, name, child) {
        if (strcmp(name, OX_TR_ATTR) != 0 && !child_load(loader, schema, name, child, depth)) return false;
    }
    if (!keys_load(schema, json_object_get(own, "keys"), why)) return fail(loader, schema, why);
    build_object_end(schema);
    return counters_load(loader, schema, given);
}

}  // namespace

bool schema_load_json(Schema* root, const json_t* model, std::string& error) {
    Loader loader{error, json_object_get(model, "types"), {}};
    json_t* schema = json_object_get(model, "schema");
    if (json_is_object(schema)) return object_load(loader, root, schema, 0);
    error = "no \"schema\" object";
    return false;
}

}  // namespace obxd
