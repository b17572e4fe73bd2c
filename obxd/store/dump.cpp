#include "dump.hpp"

#include <string.h>

#include <algorithm>
#include <iterator>

#include "ox_tr_names.hpp"
#include "store/dump_limits.hpp"
#include "store/json_members.hpp"

namespace obxd {
namespace {

void flag_add(json_t* members, const char* name, bool flag) {
    if (flag) json_object_set_new(members, name, json_true());
}

void text_add(json_t* members, const char* name, const char* text) {
    if (text) json_object_set_new(members, name, json_string(text));
}

bool same_text(const char* a, const char* b) {
    return a == b || (a && b && strcmp(a, b) == 0);
}

/// What any node says of itself, where it is not handed down from above.
void facts_dump(const Schema* schema, json_t* members) {
    static const Schema TOP;
    const Schema* above = schema->parent ? schema->parent : &TOP;
    if (schema->write_once)
        text_add(members, "access", "writeOnceReadOnly");
    else if (schema->kind == Schema::METHOD ? !schema->writable : schema->writable)
        text_add(members, "access", schema->writable ? "readWrite" : "readOnly");
    if (schema->read_rank != above->read_rank) text_add(members, "read", rank_text(schema->read_rank));
    if (schema->write_rank != above->write_rank) text_add(members, "write", rank_text(schema->write_rank));
    if (schema->status != above->status) text_add(members, "status", status_text(schema->status));
    if (!same_text(schema->since, above->since)) text_add(members, "since", schema->since);
    text_add(members, "description", schema->description);
}

/// The attributes of the wire that are made of nothing else.
void attrs_dump(const json_t* attrs, json_t* members) {
    for (const char* name : {"unique", "get_before_set", "ignore_handler_set", "base", "offValue", "handlers",
                             "relations", "mappings"})
        if (json_t* value = json_object_get(attrs, name)) json_object_set(members, name, value);
}

json_t* object_dump(const Schema* schema, json_t* types);

json_t* parameter_dump(const Schema* schema, json_t* types) {
    json_t* members = json_object();
    facts_dump(schema, members);
    attrs_dump(schema->attrs, members);
    limits_dump(*schema->limits, json_string_value(json_object_get(schema->attrs, "type")), members, types);
    flag_add(members, "hidden", schema->hidden);
    flag_add(members, "mandatory", schema->mandatory);
    flag_add(members, "runtime", schema->runtime);
    text_add(members, "units", schema->units);
    if (schema->counts) text_add(members, "counts", schema->counts->name.c_str());
    if (json_t* value = json_object_get(schema->attrs, "default")) json_object_set(members, "default", value);
    text_add(members, "defaultType", default_kind_text(schema->default_kind));
    return members;
}

json_t* method_dump(const Schema* schema, json_t* types) {
    json_t* members = json_object();
    text_add(members, "type", "method");
    facts_dump(schema, members);
    attrs_dump(schema->attrs, members);
    flag_add(members, "async", json_is_true(json_object_get(schema->attrs, "async")));
    if (schema->input) json_object_set_new(members, OX_TR_INPUT, object_dump(schema->input.get(), types));
    if (schema->output) json_object_set_new(members, OX_TR_OUTPUT, object_dump(schema->output.get(), types));
    return members;
}

json_t* keys_dump(const Schema* schema) {
    json_t* keys = json_array();
    for (const Key& key : schema->keys) {
        json_t* names = json_array();
        for (const Schema* member : key.members)
            json_array_append_new(names, json_string(member->name.c_str()));
        json_array_append_new(
            keys, key.functional ? json_pack("{s:b, s:o}", "functional", 1, "names", names) : names);
    }
    return keys;
}

json_t* own_dump(const Schema* schema) {
    json_t* members = json_object();
    facts_dump(schema, members);
    attrs_dump(schema->attrs, members);
    flag_add(members, "multi", schema->multi);
    flag_add(members, "ordered", schema->ordered);
    if (schema->multi && schema->min_count > 0)
        json_object_set_new(members, "minCount", json_integer(schema->min_count));
    if (schema->multi && schema->max_count != UINT32_MAX)
        json_object_set_new(members, "maxCount", json_integer(schema->max_count));
    if (schema->named) {
        const auto& [counter, enable] = *schema->named;
        if (!counter.empty()) text_add(members, "counter", counter.c_str());
        if (!enable.empty()) text_add(members, "enable", enable.c_str());
    }
    if (!schema->keys.empty()) json_object_set_new(members, "keys", keys_dump(schema));
    return members;
}

void children_dump(const Schema* schema, json_t* members, json_t* types) {
    for (const auto& child : schema->children) {
        json_t* node = child->kind == Schema::PARAMETER ? parameter_dump(child.get(), types)
                       : child->kind == Schema::METHOD  ? method_dump(child.get(), types)
                                                        : object_dump(child.get(), types);
        json_object_set_new(members, child->name.c_str(), node);
    }
}

json_t* object_dump(const Schema* schema, json_t* types) {
    json_t* members = json_object();
    JsonRef own(own_dump(schema));
    if (json_object_size(own)) json_object_set(members, OX_TR_ATTR, own);
    children_dump(schema, members, types);
    if (schema->events.empty()) return members;
    json_t* events = json_object();
    for (const auto& event : schema->events)
        json_object_set_new(events, event->name.c_str(), object_dump(event.get(), types));
    json_object_set_new(members, MODEL_EVENTS, events);
    return members;
}

}  // namespace

json_t* model_dump(const Model& model) {
    json_t* types = json_object();
    json_t* schema = object_dump(&model.root, types);
    return json_pack("{s:o, s:o, s:O}", "types", types, "schema", schema, "values", model.pristine.get());
}

}  // namespace obxd
