#include "model/changes.hpp"

#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <new>

#include "model/cache.hpp"
#include "model/fetch.hpp"
#include "model/node.hpp"
#include "model/node_fetch.hpp"
#include "model/node_tree.hpp"
#include "model/shared.hpp"
#include "ox_conf_path.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_str.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "session/background.hpp"
#include "session/request.hpp"

json_t* pending_model_events = nullptr;

namespace {

/// One change, unpacked. `branch` is the cached multi-instance object, null when the cache does not hold it.
struct Change {
    bool added;
    CharsRef object;  // its path
    const json_t* branch;
    char key[16];   // the instance number
    CharsRef name;  // the instance's full name, without a final "."
};

bool unpack(json_t* event, Change* change) {
    const char* action;
    const char* path;
    int number;
    if (json_unpack(event, "{s:s, s:s, s:i}", OX_TR_ACTION, &action, OX_TR_PATH, &path, OX_TR_INSTANCE_NUMBER,
                    &number) < 0) {
        return false;
    }
    change->added = strcmp(action, OX_TR_ACTION_ADD) == 0;
    snprintf(change->key, sizeof change->key, "%d", number);
    if (change->added) {
        change->object.reset(ox_memory_text(path));
        change->name.reset(ox_str_printf_new("%s%s", path, change->key));
    } else {
        change->object.reset(ox_memory_text_n(path, ox_tr_path_parent(path)));
        change->name.reset(
            ox_memory_text_n(path, strlen(path) - static_cast<size_t>(ox_tr_path_is_partial(path))));
    }
    change->branch = ox_conf_find_branch(dm_root, change->object);
    return true;
}

/// The names of the instances that the cache lacks when all changes are made, as the keys of an object.
json_t* missing_instances(const json_t* events) {
    json_t* missing = json_object();
    JsonRef removed(json_object());
    size_t index;
    json_t* event;
    json_array_foreach(events, index, event) {
        Change change;
        if (!unpack(event, &change)) continue;
        if (!change.added) {
            json_object_del(missing, change.name);
            json_object_set_new(removed, change.name, json_true());
            continue;
        }
        // Children that are not known yet come whole with the node's own fetch.
        if (!change.branch || node_needs_fetch(change.branch)) continue;
        if (json_object_get(change.branch, change.key) && !json_object_get(removed, change.name)) continue;
        json_object_set_new(missing, change.name, json_true());
    }
    return missing;
}

/// What asks for these instances.
ox_jrpcmsg* request_of(json_t* missing) {
    JsonRef names(json_array());
    const char* name;
    json_t* value;
    json_object_foreach(missing, name, value) json_array_append_new(names, json_string(name));
    return fetch_message(names, -1);
}

void apply(const Change& change, json_t* fetched, json_t* missing) {
    fetch_doubt(change.object);
    json_t* branch = node_own(change.object);
    if (!branch) return;
    if (!change.added) {
        node_member_drop(branch, change.key);
        return;
    }
    if (!json_object_get(missing, change.name)) return;
    JsonRef instance(node_own_copy(ox_conf_find_branch(fetched, change.name)));
    if (!instance) {
        json_object_del(branch, OX_TR_FETCHED);  // it did not come: the next listing asks for all
        return;
    }
    json_object_set_new(instance, OX_TR_FETCHED, json_true());
    node_member_drop(branch, change.key);
    json_object_set(branch, change.key, instance);
}

/// Takes the first `count` events out of the queue, which may become null.
json_t* take_events(size_t count) {
    json_t* taken = pending_model_events;
    pending_model_events = nullptr;
    if (count >= json_array_size(taken)) return taken;
    pending_model_events = json_array();
    for (size_t i = count; i < json_array_size(taken); ++i)
        json_array_append(pending_model_events, json_array_get(taken, i));
    while (json_array_size(taken) > count) json_array_remove(taken, json_array_size(taken) - 1);
    return taken;
}

/// The instances that are missing, and the request that brings them as a tree from the top.
struct Missing {
    Missing()
        : instances(missing_instances(pending_model_events)),
          count(json_array_size(pending_model_events)),
          tree(nullptr) {
        if (json_object_size(instances) > 0) message.reset(request_of(instances));
        taker = node_tree_taker(&tree);
    }
    Missing(const Missing&) = delete;
    Missing& operator=(const Missing&) = delete;
    JsonRef instances;
    size_t count;    // of the events, the first in the queue, that they are missing for
    MsgRef message;  // null where none is missing
    NodeTree tree;
    ox_list_taker taker;
};

/// Folds in the events with what the request has brought.
void fold(Missing* missing) {
    if (missing->message && fetch_tree_outcome(&missing->tree, missing->message) != FETCH_DONE)
        node_tree_clear(&missing->tree);
    JsonRef events(take_events(missing->count));
    size_t index;
    json_t* event;
    json_array_foreach(events, index, event) {
        Change change;
        if (unpack(event, &change)) apply(change, missing->tree.root, missing->instances);
    }
}

/// What was begun for a hint.
struct Begun {
    Missing* missing;  // in `storage`, or null
    alignas(Missing) char storage[sizeof(Missing)];
} begun;

void begin() {
    begun.missing = new (begun.storage) Missing;
    Missing* missing = begun.missing;
    if (!missing->message) {
        model_changes_continue();
    } else if (!request_begin(missing->message, &missing->taker)) {
        model_changes_drop_begun();
    }
}

void drop_events() {
    model_changes_drop_begun();
    size_t index;
    json_t* event;
    json_array_foreach(pending_model_events, index, event) {
        Change change;
        if (unpack(event, &change) && change.branch)
            json_object_set_new(node_own(change.object), OX_TR_LOST, json_true());
    }
    json_array_clear(pending_model_events);
}

}  // namespace

void model_change_queue(json_t* params) {
    json_t* change = json_pack("{s:O, s:O, s:O}", OX_TR_ACTION, json_object_get(params, OX_TR_ACTION),
                               OX_TR_PATH, json_object_get(params, OX_TR_PATH), OX_TR_INSTANCE_NUMBER,
                               json_object_get(params, OX_TR_INSTANCE_NUMBER));
    if (!change) return;
    if (!pending_model_events) pending_model_events = json_array();
    json_array_append_new(pending_model_events, change);
    if (json_array_size(pending_model_events) > MODEL_EVENTS_MAX) drop_events();
}

void model_instance_added(const char* object, int number) {
    if (!dm_root) return;
    bool dot = ox_tr_path_is_full(object);
    CharsRef path(ox_str_printf_new("%s%s", object, dot ? "." : ""));
    JsonRef change(json_pack("{s:s, s:s, s:i}", OX_TR_ACTION, OX_TR_ACTION_ADD, OX_TR_PATH, path.get(),
                             OX_TR_INSTANCE_NUMBER, number));
    model_change_queue(change);
}

void model_instance_deleted(const char* instance) {
    if (!dm_root) return;
    std::string_view leaf = ox_tr_path_leaf(instance);
    uint64_t number = 0;
    int length = static_cast<int>(leaf.size());
    if (ox_string_strntoul(leaf.data(), length, 10, &number) < 0 || number > INT_MAX) return;
    JsonRef change(json_pack("{s:s, s:s, s:i}", OX_TR_ACTION, OX_TR_ACTION_DELETE, OX_TR_PATH, instance,
                             OX_TR_INSTANCE_NUMBER, static_cast<int>(number)));
    model_change_queue(change);
}

void model_events_fold(void) {
    if (begun.missing) {
        if (fetch_is_in_background() && request_is_underway(begun.missing->message)) return;
        request_finish(begun.missing->message);
        model_changes_continue();
    }
    if (!pending_model_events) return;
    if (fetch_is_in_background()) {
        begin();
        return;
    }
    Missing missing;
    // Had the wait been left by Ctrl-C, the events would still be queued.
    if (missing.message) request_exec_list(missing.message, -1, &missing.taker);
    fold(&missing);
}

bool model_changes_continue(void) {
    if (!begun.missing || request_is_underway(begun.missing->message)) return false;
    Missing* missing = begun.missing;
    begun.missing = nullptr;
    fold(missing);
    missing->~Missing();
    return true;
}

void model_changes_drop_begun(void) {
    if (!begun.missing) return;
    if (begun.missing->message) request_abandon(begun.missing->message);
    begun.missing->~Missing();
    begun.missing = nullptr;
}
