#include "model/fetch.hpp"

#include <string.h>

#include "model/instance_fold.hpp"
#include "model/node_tree.hpp"
#include "model/shared.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

/// Names of the first part of a long list, and elements that later parts should come to.
enum { FIRST_PART = 1000, PART_ELEMENTS = 50000 };

fetch_outcome outcome_of(const ox_jrpcmsg* message) {
    if (request_too_large(message)) return FETCH_LARGE;
    return request_lost(message) ? FETCH_LOST : FETCH_DONE;
}

/// The names of an object's children, one behind the other.
struct NameList : ox_held {
    NameList() : ox_held([](ox_held* self) { static_cast<NameList*>(self)->~NameList(); }), bytes{} {}
    ~NameList() { bytes.clear(); }
    ox_array<char> bytes;  // each ends with a zero
};

/// Up to `count` of the names from `*at` on, which goes behind them.
json_t* slice(const NameList& names, size_t* at, size_t count) {
    json_t* part = json_array();
    for (; count > 0 && *at < names.bytes.size; --count) {
        const char* name = names.bytes.data + *at;
        json_array_append_new(part, json_string(name));
        *at += strlen(name) + 1;
    }
    return part;
}

/// Instances of which only the names are known: they are asked for one by one when somebody comes to them.
void add_names(json_t* instances, const json_t* names) {
    for (size_t i = 0; i < json_array_size(names); ++i) {
        std::string_view key = ox_tr_path_leaf(json_string_value(json_array_get(names, i)));
        if (key.empty() || key[0] == '#') continue;
        json_object_setn_new(instances, key.data(), key.size(), shared_leaf(nullptr));
    }
}

/// The instances of an object while their names are gone through.
struct Parts {
    InstanceFold* fold;
    json_t* instances;
    size_t size;  ///< names in the next part
    int (*timeout)(void);
};

/// Asks for a part of the names. Large: it is to be tried with fewer.
fetch_outcome fetch_part(Parts* parts, json_t* names) {
    enum { INVALID_NAME = 9005 };
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(names), -1));
    ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
    ox_list_taker taker = instance_fold_taker(parts->fold);
    request_exec_list(message, parts->timeout(), &taker);
    JsonRef part(instance_fold_take(parts->fold));
    if (ox_jrpcmsg_typeof(message) == OX_JRPCMSG_RESULT) {
        if (parts->fold->full) return FETCH_LARGE;
        json_object_update(parts->instances, part);
        return FETCH_DONE;
    }
    // Where one of them is gone meanwhile, the others are worth asking for.
    bool gone = message->error_code == INVALID_NAME && json_array_size(names) > 1;
    return gone ? FETCH_LARGE : outcome_of(message);
}

size_t next_size(const Parts* parts, size_t asked) {
    size_t each = parts->fold->elements / (asked > 0 ? asked : 1) + 1;
    size_t size = PART_ELEMENTS / each;
    return size > 0 ? size : 1;
}

fetch_outcome fetch_parts(Parts* parts, const NameList& names) {
    size_t at = 0;
    do {
        size_t next = at;
        JsonRef part(slice(names, &next, parts->size));
        size_t asked = json_array_size(part);
        fetch_outcome outcome = fetch_part(parts, part);
        if (outcome == FETCH_LOST) return outcome;
        if (outcome == FETCH_LARGE && asked > 1) {
            parts->size = (asked + 3) / 4;
            continue;
        }
        if (outcome == FETCH_LARGE) add_names(parts->instances, part);
        at = next;
        parts->size = outcome == FETCH_LARGE ? 1 : next_size(parts, asked);
    } while (at < names.bytes.size);
    return FETCH_DONE;
}

fetch_outcome fetch_names(const char* query, int timeout, NameList* names) {
    ox_list_taker taker = {[](void* context) { static_cast<NameList*>(context)->bytes.size = 0; },
                           [](void* context, const ox_list_element* element) {
                               if (!element->name) return;
                               static_cast<NameList*>(context)->bytes.append(element->name,
                                                                             strlen(element->name) + 1);
                           },
                           names};
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_names(query, 1));
    request_exec_list(message, timeout, &taker);
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) names->bytes.size = 0;
    return outcome_of(message);
}

}  // namespace

json_t* fetch_nodes(json_t* names, int level, const char* base, int timeout, fetch_outcome* outcome) {
    NodeTree tree(base);
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(names), level));
    ox_list_taker taker = node_tree_taker(&tree);
    request_exec_list(message, timeout, &taker);
    *outcome = tree.full ? FETCH_LARGE : outcome_of(message);
    if (*outcome != FETCH_DONE) return nullptr;
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) node_tree_clear(&tree);
    return json_incref(tree.root);
}

json_t* fetch_instances(const char* query, int (*timeout)(void), fetch_outcome* outcome) {
    NameList names;
    *outcome = fetch_names(query, timeout(), &names);
    if (*outcome != FETCH_DONE) return nullptr;
    InstanceFold fold(query);
    JsonRef instances(json_object());
    Parts parts = {&fold, instances, FIRST_PART, timeout};
    *outcome = fetch_parts(&parts, names);
    return *outcome == FETCH_DONE ? instances.release() : nullptr;
}
