#include "load_json.hpp"

#include <string.h>

#include <algorithm>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/json_limits.hpp"
#include "store/json_members.hpp"
#include "store/ties.hpp"

namespace obxd {
namespace {

constexpr int MAX_DEPTH = 64;

struct Loader {
    Model& model;
    std::string& error;
    const json_t* types;
    Shapes shapes;  ///< equal parameters share their attributes
};

bool fail(Loader& loader, const Schema* schema, const std::string& text) {
    loader.error = schema_path(schema) + ": " + text;
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
    JsonRef shared = members_shared(given);
    CharsRef dump(json_dumps(shared, JSON_COMPACT));
    schema->status = std::max(schema->status, facts.status);
    std::string key = std::to_string(static_cast<int>(schema->status)) + rank_text(schema->read_rank) +
                      rank_text(schema->write_rank) + dump.get();
    Shape& shape = loader.shapes[key];
    if (shape.limits) return &shape;
    JsonRef merged(json_copy(shared));
    Limits limits;
    if (!json_limits_read(loader.model, loader.types, merged, limits, why)) return nullptr;
    JsonRef attrs = members_attrs(merged);
    facts.attrs = attrs;
    facts.initial = json_object_get(merged, "default");
    bool fine = build_shape(schema, facts, member_text(given, "type"), std::move(limits), shape, why);
    return fine ? &shape : nullptr;
}

bool parameter_load(Loader& loader, Schema* schema, json_t* given) {
    std::string why;
    Facts facts = members_facts(loader.model, given);
    build_ranks(schema, facts);
    const Shape* shape = shape_of(loader, schema, facts, given, why);
    if (shape) facts.initial = json_object_get(shape->attrs, "default");
    if (shape && facts.writable && !facts.initial)
        return fail(loader, schema, "a parameter that can be set needs a default");
    if (!shape || !relations_read(schema, json_object_get(given, "relations"), why))
        return fail(loader, schema, why);
    build_parameter(schema, facts, *shape);
    return true;
}

bool object_load(Loader& loader, Schema* schema, json_t* given, int depth);

bool method_load(Loader& loader, Schema* schema, json_t* given, int depth) {
    Facts facts = members_facts(loader.model, given);
    JsonRef attrs = members_attrs(given);
    facts.attrs = attrs;
    if (!json_object_get(given, "access")) facts.writable = true;
    build_method(schema, facts);
    for (const char* part : {OX_TR_INPUT, OX_TR_OUTPUT}) {
        json_t* arguments = json_object_get(given, part);
        if (!arguments) continue;
        if (!json_is_object(arguments)) return fail(loader, schema, std::string(part) + " is no JSON object");
        auto object = build_arguments(schema, part);
        if (!object_load(loader, object.get(), arguments, depth + 1)) return false;
        if (strcmp(part, OX_TR_INPUT) == 0)
            build_input_end(schema, std::move(object));
        else
            build_output_end(schema, std::move(object));
    }
    return true;
}

bool is_left_out(const Loader& loader, const json_t* given) {
    const json_t* own = member_text(given, "type") ? given : json_object_get(given, OX_TR_ATTR);
    const char* status = member_text(own, "status");
    return status && strcmp(status, "deleted") == 0 && !loader.model.show_all;
}

bool child_load(Loader& loader, Schema* parent, const char* name, json_t* given, int depth) {
    std::string why;
    if (is_left_out(loader, given)) return true;
    Schema* child = build_child(parent, name, why);
    if (!child) return fail(loader, parent, why);
    if (!json_is_object(given)) return fail(loader, child, "is no JSON object");
    const char* type = member_text(given, "type");
    if (!type) return object_load(loader, child, given, depth + 1);
    if (!members_check(given, why)) return fail(loader, child, why);
    if (strcmp(type, "method") == 0) return method_load(loader, child, given, depth + 1);
    return parameter_load(loader, child, given);
}

bool events_load(Loader& loader, Schema* object, json_t* given, int depth) {
    const char* name;
    json_t* event;
    json_object_foreach(given, name, event) {
        if (is_left_out(loader, event)) continue;
        json_t* own = json_object_get(event, OX_TR_ATTR);
        std::string why;
        if (own && !members_check(own, why)) return fail(loader, object, why);
        Schema* schema = build_event(object, name, members_facts(loader.model, own), why);
        if (!schema) return fail(loader, object, why);
        const char* argument;
        json_t* child;
        json_object_foreach(event, argument,
                            child) if (strcmp(argument, OX_TR_ATTR) != 0 &&
                                       !child_load(loader, schema, argument, child, depth + 1)) return false;
    }
    return true;
}

bool keys_load(Schema* schema, const json_t* keys, std::string& why) {
    for (size_t i = 0; i < json_array_size(keys); i++) {
        const json_t* key = json_array_get(keys, i);
        bool functional = member_flag(key, "functional");
        if (json_is_object(key)) key = json_object_get(key, "names");
        std::vector<std::string_view> names;
        for (size_t j = 0; j < json_array_size(key); j++) {
            const char* name = json_string_value(json_array_get(key, j));
            names.push_back(name ? name : "?");
        }
        if (!build_key(schema, names, functional, why)) return false;
    }
    return true;
}

/// Ties counters to the objects that they name.
bool counters_load(Loader& loader, Schema* schema, const json_t* given) {
    for (Schema* parameter : schema->parameters) {
        const char* counts = member_text(json_object_get(given, parameter->name.c_str()), "counts");
        if (counts && !tie_counter(parameter, counts))
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
    Facts facts = members_facts(loader.model, own);
    JsonRef attrs = members_attrs(own);
    facts.attrs = attrs;
    if (!build_object(schema, facts, why)) return fail(loader, schema, why);
    const char* name;
    json_t* child;
    json_object_foreach(given, name, child) {
        if (strcmp(name, OX_TR_ATTR) == 0) continue;
        bool fine = strcmp(name, MODEL_EVENTS) == 0 ? events_load(loader, schema, child, depth)
                                                    : child_load(loader, schema, name, child, depth);
        if (!fine) return false;
    }
    if (!counters_load(loader, schema, given)) return false;
    return (keys_load(schema, json_object_get(own, "keys"), why) && build_object_end(schema, why)) ||
           fail(loader, schema, why);
}

}  // namespace

bool schema_load_json(Model& model, const json_t* file, std::string& error) {
    Loader loader{model, error, json_object_get(file, "types"), {}};
    json_t* schema = json_object_get(file, "schema");
    if (json_is_object(schema)) return object_load(loader, &model.root, schema, 0);
    error = "no \"schema\" object";
    return false;
}

}  // namespace obxd
