// Reading the schema of a model file.

#include <string.h>

#include <algorithm>
#include <iterator>

#include "impl.hpp"

namespace obxd {
namespace {

constexpr int MAX_DEPTH = 64;

/// The built-in type texts with the value that a parameter of the type has before it was given one.
const char* const TYPES[] = {"string",       "boolean",  "int",        "unsignedInt", "long",
                             "unsignedLong", "decimal",  "dateTime",   "base64",      "hexBinary",
                             "IPAddress",    "IPPrefix", "MACAddress", "URL",         "Alias",
                             "UUID",         "list",     "json",       "pathRef",     "flag"};

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

struct Loader {
    std::string& error;
    const json_t* types;
    struct Shape {
        JsonRef attrs;
        std::shared_ptr<const Limits> limits;
    };
    std::unordered_map<std::string, Shape> shapes;  ///< equal parameters share their attributes
};

std::string schema_path(const Schema* schema) {
    if (!schema->parent) return "";
    std::string path = schema_path(schema->parent);
    return path.empty() ? schema->name : path + "." + schema->name;
}

bool fail(Loader& loader, const Schema* schema, const std::string& text) {
    std::string path = schema_path(schema);
    loader.error = (path.empty() ? "." : path) + ": " + text;
    return false;
}

const char* text_of(const json_t* object, const char* key) {
    return json_string_value(json_object_get(object, key));
}

bool flag_of(const json_t* object, const char* key) {
    return json_is_true(json_object_get(object, key));
}

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

bool members_check(Loader& loader, const Schema* schema, json_t* given) {
    const char* key;
    json_t* value;
    json_object_foreach(given, key, value) {
        if (strcmp(key, "#input") == 0 || strcmp(key, "#output") == 0) continue;
        auto known = std::find_if(std::begin(KNOWN), std::end(KNOWN),
                                  [key](const Known& row) { return strcmp(row.name, key) == 0; });
        if (known == std::end(KNOWN))
            return fail(loader, schema, std::string("unknown attribute \"") + key + "\"");
        if (!kind_fits(known->kind, value))
            return fail(loader, schema, std::string("attribute \"") + key + "\" has the wrong JSON type");
    }
    for (const char* role : {"read", "write"}) {
        const char* text = text_of(given, role);
        if (text && rank_parse(text) < 0)
            return fail(loader, schema, std::string("no such role \"") + text + "\"");
    }
    const char* access = text_of(given, "access");
    if (access && strcmp(access, "readOnly") != 0 && strcmp(access, "readWrite") != 0)
        return fail(loader, schema, "\"access\" is \"readOnly\" or \"readWrite\"");
    return true;
}

void ranks_take(Schema* schema, const json_t* given) {
    if (const char* text = text_of(given, "read")) schema->read_rank = static_cast<uint8_t>(rank_parse(text));
    if (const char* text = text_of(given, "write"))
        schema->write_rank = static_cast<uint8_t>(rank_parse(text));
}

/// The attributes that clients see.
JsonRef attrs_make(const Schema* schema, const char* type, bool writable, json_t* given) {
    JsonRef attrs(json_object());
    json_object_set_new(attrs, "type", json_string(type));
    json_object_set_new(attrs, "access", json_string(writable ? "readWrite" : "readOnly"));
    std::string perms =
        std::string(rank_text(schema->read_rank)) + "/" + (writable ? rank_text(schema->write_rank) : "-");
    json_object_set_new(attrs, "perms", json_string(perms.c_str()));
    if (!writable) json_object_set_new(attrs, "const", json_true());
    for (const Known& known : KNOWN) {
        json_t* value = known.wire ? json_object_get(given, known.name) : nullptr;
        bool is_value = strcmp(known.name, "default") == 0 || strcmp(known.name, "offValue") == 0;
        if (value && (is_value || !json_is_false(value))) json_object_set(attrs, known.name, value);
    }
    return attrs;
}

json_t* empty_value(int type) {
    switch (type) {
        case OX_TR_BOOLEAN:
        case OX_TR_FLAG:
            return json_false();
        case OX_TR_INT:
        case OX_TR_UNSIGNED_INT:
        case OX_TR_LONG:
        case OX_TR_UNSIGNED_LONG:
            return json_integer(0);
        case OX_TR_DECIMAL:
            return json_real(0.0);
        case OX_TR_JSON:
            return json_object();
        case OX_TR_DATE_TIME:
            return json_string("0001-01-01T00:00:00Z");
        default:
            return json_string("");
    }
}

bool builtin(const char* type) {
    return std::any_of(std::begin(TYPES), std::end(TYPES),
                       [type](const char* t) { return strcmp(t, type) == 0; });
}

/// Follows named data types down to a built-in one (a "TYPE[]" is a list with these items), adding their
/// members that `merged` does not have.
const char* base_type(Loader& loader, const Schema* schema, const char* type, json_t* merged) {
    for (int depth = 0; depth < 8; depth++) {
        if (builtin(type)) return type;
        if (std::string_view(type).ends_with("[]")) {
            if (json_object_get(merged, "items")) {
                fail(loader, schema, std::string("\"items\" beside ") + type);
                return nullptr;
            }
            json_object_set_new(merged, "items", json_stringn(type, strlen(type) - 2));
            return "list";
        }
        json_t* definition = json_object_get(loader.types, type);
        const char* base = text_of(definition, "type");
        if (!base) break;
        if (!members_check(loader, schema, definition)) return nullptr;
        json_object_update_missing(merged, definition);
        type = base;
    }
    fail(loader, schema, std::string("no such type \"") + type + "\"");
    return nullptr;
}

std::vector<std::string> targets_split(const char* text) {
    std::vector<std::string> targets;
    std::string_view rest = text;
    while (!rest.empty()) {
        size_t comma = rest.find(',');
        std::string_view part = rest.substr(0, comma);
        while (!part.empty() && part.front() == ' ') part.remove_prefix(1);
        while (!part.empty() && (part.back() == '.' || part.back() == ' ')) part.remove_suffix(1);
        if (!part.empty()) targets.emplace_back(part);
        rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
    }
    return targets;
}

bool limits_read(Loader& loader, const Schema* schema, const char* type, json_t* given, Limits& limits) {
    limits.type = ox_tr_dm_type_parse(type);
    limits.list = limits.type == OX_TR_LIST;
    if (limits.list) {
        const char* items = text_of(given, "items");
        const char* base = base_type(loader, schema, items ? items : "string", given);
        if (!base) return false;
        limits.type = ox_tr_dm_type_parse(base);
        if (limits.type == OX_TR_LIST || limits.type == OX_TR_JSON)
            return fail(loader, schema, "a list holds no lists and no JSON");
    }
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
    limits.choices.reset(json_incref(json_object_get(given, "enum")));
    const char* standard = text_of(given, "default");
    limits.takes_empty = standard && !*standard;
    if (const char* from = text_of(given, "from")) limits.from = from;
    if (const char* targets = text_of(given, "foreign_key")) limits.targets = targets_split(targets);
    if (const char* regex = text_of(given, "regex")) {
        RegexRef compiled(new regex_t);
        std::string anchored = std::string("^(") + regex + ")$";
        if (regcomp(compiled.get(), anchored.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
            delete compiled.release();
            return fail(loader, schema, std::string("bad regex \"") + regex + "\"");
        }
        limits.regex = std::move(compiled);
    }
    return true;
}

bool relations_read(Loader& loader, Schema* schema, const json_t* list) {
    for (size_t i = 0; i < json_array_size(list); i++) {
        const json_t* entry = json_array_get(list, i);
        const json_t* verdict = json_object_get(entry, "verdict");
        const char* match = text_of(entry, "match");
        std::vector<std::string_view> parts;
        if (!json_is_integer(verdict) || json_integer_value(verdict) < 0 ||
            json_integer_value(verdict) > VERDICT_CONTINUE || !match || !path_split(match, parts))
            return fail(loader, schema, "a relation has a \"verdict\" of 0 to 3 and a \"match\" path");
        Relation relation{static_cast<Verdict>(json_integer_value(verdict)), {parts.begin(), parts.end()}};
        schema->relations.push_back(std::move(relation));
    }
    return true;
}

bool parameter_load(Loader& loader, Schema* schema, json_t* given) {
    schema->kind = Schema::PARAMETER;
    schema->slot = static_cast<uint32_t>(schema->parent->parameters.size());
    schema->parent->parameters.push_back(schema);
    const char* type = text_of(given, "type");
    const char* access = text_of(given, "access");
    schema->writable = access && strcmp(access, "readWrite") == 0;
    schema->hidden = flag_of(given, "hidden");
    schema->mandatory = flag_of(given, "mandatory");
    schema->runtime = flag_of(given, "runtime");

    CharsRef dump(json_dumps(given, JSON_COMPACT));
    std::string key = std::string(rank_text(schema->read_rank)) + rank_text(schema->write_rank) + dump.get();
    Loader::Shape& shape = loader.shapes[key];
    if (!shape.limits) {
        JsonRef merged(json_copy(given));
        const char* base = base_type(loader, schema, type, merged);
        if (!base) return false;
        auto limits = std::make_shared<Limits>();
        if (!limits_read(loader, schema, base, merged, *limits)) return false;
        shape.limits = std::move(limits);
        shape.attrs = attrs_make(schema, type, schema->writable, merged);
    }
    schema->attrs.reset(json_incref(shape.attrs.get()));
    schema->limits = shape.limits;
    if (!relations_read(loader, schema, json_object_get(given, "relations"))) return false;

    json_t* initial = json_object_get(schema->attrs, "default");
    schema->has_default = initial != nullptr;
    if (!initial && schema->writable)
        return fail(loader, schema, "a parameter that can be set needs a default");
    int kind = schema->limits->list ? OX_TR_LIST : schema->limits->type;
    schema->initial.reset(initial ? json_incref(initial) : empty_value(kind));
    return true;
}

bool object_load(Loader& loader, Schema* schema, json_t* given, int depth);

bool method_load(Loader& loader, Schema* schema, json_t* given, int depth) {
    schema->kind = Schema::METHOD;
    const char* access = text_of(given, "access");
    schema->writable = !access || strcmp(access, "readWrite") == 0;
    schema->attrs = attrs_make(schema, "method", schema->writable, given);
    // The outputs are checked like the inputs, but clients are told of them only by an answer.
    for (const char* part : {"#input", "#output"}) {
        json_t* arguments = json_object_get(given, part);
        if (!arguments) continue;
        auto object = std::make_unique<Schema>();
        object->name = part;
        object->argument = true;
        object->parent = schema;
        object->read_rank = schema->read_rank;
        object->write_rank = schema->write_rank;
        if (!json_is_object(arguments)) return fail(loader, schema, std::string(part) + " is no JSON object");
        if (!object_load(loader, object.get(), arguments, depth + 1)) return false;
        if (strcmp(part, "#input") == 0 && !object->children.empty()) schema->input = std::move(object);
    }
    return true;
}

bool child_load(Loader& loader, Schema* parent, const char* name, json_t* given, int depth) {
    uint32_t number;
    if (!*name || strpbrk(name, ".*#[]{}\" ") || instance_number(name, number) ||
        strcmp(name, "max_instance") == 0)
        return fail(loader, parent, std::string("bad name \"") + name + "\"");
    Schema* child = schema_add(parent, name);
    if (!child) return fail(loader, parent, std::string("\"") + name + "\" stands twice");
    if (!json_is_object(given)) return fail(loader, child, "is no JSON object");
    const char* type = text_of(given, "type");
    if (!type) {
        child->slot = static_cast<uint32_t>(parent->objects.size());
        parent->objects.push_back(child);
        return object_load(loader, child, given, depth + 1);
    }
    if (!members_check(loader, child, given)) return false;
    ranks_take(child, given);
    if (strcmp(type, "method") == 0) return method_load(loader, child, given, depth + 1);
    return parameter_load(loader, child, given);
}

bool keys_load(Loader& loader, Schema* schema, const json_t* keys) {
    for (size_t i = 0; i < json_array_size(keys); i++) {
        const json_t* key = json_array_get(keys, i);
        std::vector<Schema*> members;
        for (size_t j = 0; j < json_array_size(key); j++) {
            const char* name = json_string_value(json_array_get(key, j));
            Schema* member = name ? schema_child(schema, name) : nullptr;
            if (!member || member->kind != Schema::PARAMETER)
                return fail(loader, schema,
                            std::string("\"keys\" names no parameter: ") + (name ? name : "?"));
            members.push_back(member);
        }
        if (members.empty()) return fail(loader, schema, "\"keys\" is an array of arrays of parameter names");
        if (members.size() == 1 && !flag_of(members[0]->attrs, "unique")) {
            members[0]->attrs.reset(json_copy(members[0]->attrs));
            json_object_set_new(members[0]->attrs, "unique", json_true());
        }
        schema->keys.push_back(std::move(members));
    }
    if (schema->multi) schema_lookups(schema);
    return true;
}

/// Ties counters to the objects they count.
bool counters_tie(Loader& loader, Schema* schema, const json_t* given) {
    for (Schema* parameter : schema->parameters) {
        const char* counts = text_of(json_object_get(given, parameter->name.c_str()), "counts");
        std::string_view name = parameter->name;
        constexpr std::string_view SUFFIX = "NumberOfEntries";
        Schema* object = nullptr;
        if (counts)
            object = schema_child(schema, counts);
        else if (name.ends_with(SUFFIX))
            object = schema_child(schema, name.substr(0, name.size() - SUFFIX.size()));
        if (counts && (!object || !object->multi))
            return fail(loader, parameter,
                        std::string("\"counts\" names no multi-instance object: ") + counts);
        if (!object || !object->multi) continue;
        parameter->counts = object;
        object->counter = parameter;
    }
    return true;
}

bool object_load(Loader& loader, Schema* schema, json_t* given, int depth) {
    if (depth > MAX_DEPTH) return fail(loader, schema, "nested too deeply");
    json_t* own = json_object_get(given, "#attr");
    if (own && !json_is_object(own)) return fail(loader, schema, "\"#attr\" is no JSON object");
    if (own && !members_check(loader, schema, own)) return false;
    ranks_take(schema, own);
    schema->multi = flag_of(own, "multi");
    schema->ordered = flag_of(own, "ordered");
    if (schema->ordered && !schema->multi) return fail(loader, schema, "\"ordered\" without \"multi\"");
    const char* access = text_of(own, "access");
    schema->writable = access && strcmp(access, "readWrite") == 0;
    if (json_t* bound = json_object_get(own, "maxCount"))
        schema->max_count =
            static_cast<uint32_t>(std::clamp<json_int_t>(json_integer_value(bound), 0, UINT32_MAX));
    schema->item_attrs = attrs_make(schema, "object", schema->writable, own);
    json_object_del(schema->item_attrs, "maxCount");
    schema->attrs = attrs_make(schema, "object", schema->writable, own);
    if (schema->multi) json_object_set_new(schema->attrs, "multi", json_true());

    const char* name;
    json_t* child;
    json_object_foreach(given, name, child) if (strcmp(name, "#attr") != 0 &&
                                                !child_load(loader, schema, name, child, depth)) return false;
    schema_roles(schema);
    return keys_load(loader, schema, json_object_get(own, "keys")) && counters_tie(loader, schema, given);
}

}  // namespace

bool schema_load(Schema* root, const json_t* model, std::string& error) {
    Loader loader{error, json_object_get(model, "types"), {}};
    json_t* schema = json_object_get(model, "schema");
    if (!json_is_object(schema)) {
        error = "no \"schema\" object";
        return false;
    }
    return object_load(loader, root, schema, 0);
}

}  // namespace obxd
