#include "model/fetch.hpp"

#include <string.h>

#include "model/shared.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

/// Names of the first part of a long list; elements that later parts should come to, and names that a request
/// holds at most: one is made and written while keys wait.
enum { FIRST_PART = 1000, PART_ELEMENTS = 50000, PART_NAMES = 4000 };

/// An answer that is none says nothing of the node; an error is the daemon's word.
bool tells_nothing(const ox_jrpcmsg* message) {
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) return request_lost(message);
    const json_t* result = ox_jrpcmsg_get_result_json(message);
    bool is_list = json_is_array(json_object_get(result, OX_TR_PARAMETER_LIST));
    return !is_list && !(json_is_object(result) && json_object_size(result) == 0);
}

fetch_outcome outcome_of(const ox_jrpcmsg* message) {
    if (request_too_large(message)) return FETCH_LARGE;
    return tells_nothing(message) ? FETCH_LOST : FETCH_DONE;
}

ox_list_taker name_taker(Fetch* fetch) {
    return {[](void* context) { static_cast<Fetch*>(context)->names.bytes.size = 0; },
            [](void* context, const ox_list_element* element) {
                if (!element->name) return;
                static_cast<Fetch*>(context)->names.bytes.append(element->name, strlen(element->name) + 1);
            },
            fetch};
}

/// The next names; `next` goes behind them.
json_t* slice(Fetch* fetch) {
    json_t* part = json_array();
    fetch->next = fetch->at;
    for (size_t count = fetch->size; count > 0 && fetch->next < fetch->names.bytes.size; --count) {
        const char* name = fetch->names.bytes.data + fetch->next;
        json_array_append_new(part, json_string(name));
        fetch->next += strlen(name) + 1;
    }
    return part;
}

/// Instances of which only the names are known: they are asked for one by one when somebody comes to them.
void add_names(json_t* parts, const json_t* names) {
    json_t* instances = json_object();
    json_array_append_new(parts, instances);
    for (size_t i = 0; i < json_array_size(names); ++i) {
        std::string_view key = ox_tr_path_leaf(json_string_value(json_array_get(names, i)));
        if (key.empty() || key[0] == '#') continue;
        json_object_setn_new(instances, key.data(), key.size(), shared_leaf(nullptr));
    }
}

ox_jrpcmsg* own_message(const Fetch* fetch) {
    json_t* names = json_pack("[s]", fetch->query);
    json_array_append_new(names, json_sprintf("%s%s.", fetch->query, OX_TR_TEMPLATE));
    json_array_append_new(names, json_sprintf("%s%s", fetch->query, OX_TR_MAX_INSTANCE));
    JsonRef held(names);
    return fetch_message(names, 0);
}

ox_jrpcmsg* part_message(Fetch* fetch) {
    fetch->part.reset(slice(fetch));
    ox_jrpcmsg* message = fetch_message(fetch->part, -1);
    ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
    return message;
}

void end(Fetch* fetch, fetch_outcome outcome) {
    fetch->outcome = outcome;
    fetch->step = FETCH_STEP_END;
}

void take_children(Fetch* fetch) {
    fetch_outcome outcome = fetch_tree_outcome(&fetch->tree, fetch->message);
    fetch->has_children = outcome == FETCH_DONE;
    bool again = outcome == FETCH_LARGE && fetch->multi && fetch->step == FETCH_STEP_CHILDREN;
    if (again) {
        fetch->step = FETCH_STEP_OWN;
    } else if (outcome == FETCH_DONE && fetch->multi) {
        fetch->step = FETCH_STEP_NAMES;
    } else {
        end(fetch, outcome);
    }
}

void take_names(Fetch* fetch) {
    if (ox_jrpcmsg_typeof(fetch->message) != OX_JRPCMSG_RESULT) fetch->names.bytes.size = 0;
    fetch_outcome outcome = outcome_of(fetch->message);
    if (outcome != FETCH_DONE) {
        end(fetch, outcome);
        return;
    }
    fetch->instances.reset(json_array());
    fetch->step = FETCH_STEP_INSTANCES;
}

/// What became of a part. Large: it is to be tried with fewer names.
fetch_outcome part_outcome(Fetch* fetch) {
    enum { INVALID_NAME = 9005 };
    JsonRef part(instance_fold_take(&fetch->fold));
    if (outcome_of(fetch->message) == FETCH_LOST) return FETCH_LOST;
    if (ox_jrpcmsg_typeof(fetch->message) == OX_JRPCMSG_RESULT) {
        if (fetch->fold.full) return FETCH_LARGE;
        json_array_append(fetch->instances, part);
        return FETCH_DONE;
    }
    // Where one of them is gone meanwhile, the others are worth asking for.
    bool gone = fetch->message->error_code == INVALID_NAME && json_array_size(fetch->part) > 1;
    return gone ? FETCH_LARGE : outcome_of(fetch->message);
}

size_t next_size(const Fetch* fetch, size_t asked) {
    size_t each = fetch->fold.elements / (asked > 0 ? asked : 1) + 1;
    size_t size = PART_ELEMENTS / each;
    if (size > PART_NAMES) return PART_NAMES;
    return size > 0 ? size : 1;
}

void take_instances(Fetch* fetch) {
    fetch_outcome outcome = part_outcome(fetch);
    size_t asked = json_array_size(fetch->part);
    if (outcome == FETCH_LOST) {
        end(fetch, outcome);
        return;
    }
    if (outcome == FETCH_LARGE && asked > 1) {
        fetch->size = (asked + 3) / 4;
        return;
    }
    if (outcome == FETCH_LARGE) add_names(fetch->instances, fetch->part);
    fetch->at = fetch->next;
    fetch->size = outcome == FETCH_LARGE ? 1 : next_size(fetch, asked);
    if (fetch->at >= fetch->names.bytes.size) end(fetch, FETCH_DONE);
}

}  // namespace

Fetch::Fetch(const char* path, bool is_multi)
    : query{},
      multi(is_multi),
      step(FETCH_STEP_CHILDREN),
      outcome(FETCH_DONE),
      taker{},
      tree(query),
      has_children(false),
      at(0),
      next(0),
      size(FIRST_PART),
      fold(query),
      filled(0) {
    ox_string_strlcpy(query, path, sizeof query);
}

void fetch_ask(Fetch* fetch) {
    switch (fetch->step) {
        case FETCH_STEP_CHILDREN: {
            JsonRef names(json_pack("[s]", fetch->query));
            fetch->message.reset(fetch_message(names, 1));
            fetch->taker = node_tree_taker(&fetch->tree);
            return;
        }
        case FETCH_STEP_OWN:
            fetch->message.reset(own_message(fetch));
            fetch->taker = node_tree_taker(&fetch->tree);
            return;
        case FETCH_STEP_NAMES:
            fetch->message.reset(ox_jrpcmsg_cmd_get_parameter_names(fetch->query, 1));
            fetch->taker = name_taker(fetch);
            return;
        case FETCH_STEP_INSTANCES:
            fetch->message.reset(part_message(fetch));
            fetch->taker = instance_fold_taker(&fetch->fold);
            return;
        case FETCH_STEP_END:
            fetch->message.reset();
    }
}

void fetch_take(Fetch* fetch) {
    switch (fetch->step) {
        case FETCH_STEP_CHILDREN:
        case FETCH_STEP_OWN:
            take_children(fetch);
            break;
        case FETCH_STEP_NAMES:
            take_names(fetch);
            break;
        case FETCH_STEP_INSTANCES:
            take_instances(fetch);
            break;
        case FETCH_STEP_END:
            break;
    }
    fetch->message.reset();
}

ox_jrpcmsg* fetch_message(json_t* names, int level) {
    return ox_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(names), level);
}

fetch_outcome fetch_tree_outcome(NodeTree* tree, const ox_jrpcmsg* message) {
    fetch_outcome outcome = tree->full ? FETCH_LARGE : outcome_of(message);
    if (outcome == FETCH_DONE && ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) node_tree_clear(tree);
    return outcome;
}
