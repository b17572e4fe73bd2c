#include "instances.hpp"

#include <algorithm>

#include "ox_tr_names.hpp"
#include "store/params.hpp"
#include "store/place.hpp"
#include "store/references.hpp"
#include "store/rows.hpp"
#include "store/tell.hpp"
#include "store/ties.hpp"
#include "store/undo.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"
#include "store/write.hpp"

namespace obxd {
namespace {

/// The instance that holds the node, the node itself included; null for what stands in none.
Node* holder(Node* node) {
    while (node && !node->number) node = node->parent;
    return node;
}

bool is_below(const Node* node, const Node* top) {
    while (node && node != top) node = node->parent;
    return node == top;
}

/// Gathers what a delete takes along. False with `why` when a reference forbids it.
bool cascade_gather(Model& model, Node* instance, std::vector<Node*>& doomed, std::string& why) {
    doomed.push_back(instance);
    std::string deleted = node_path(instance);
    for (const Referrer& referrer : referrers_of(model, deleted)) {
        bool dying = std::any_of(doomed.begin(), doomed.end(),
                                 [&](Node* node) { return is_below(referrer.node, node); });
        if (dying) continue;
        if (referrer.verdict == VERDICT_DENY) {
            why = node_path(referrer.node) + referrer.parameter->name + " refers to " + deleted;
            return false;
        }
        Node* victim = referrer.verdict == VERDICT_CASCADE ? holder(referrer.node) : nullptr;
        if (victim && !cascade_gather(model, victim, doomed, why)) return false;
    }
    return true;
}

/// Whether what refers to a deleted instance is deleted with it.
bool goes_too(const Referrer& referrer) {
    return referrer.verdict == VERDICT_DENY || (referrer.verdict == VERDICT_CASCADE && holder(referrer.node));
}

void instance_drop(Model& model, const std::string& path) {
    Place place;
    if (!place_find(model, path, place)) return;  // went with another one
    for (const Referrer& referrer : referrers_of(model, path))
        if (!is_below(referrer.node, place.node) && !goes_too(referrer))
            reference_clear(model, referrer, path);
    Node* table = place.node->parent;
    uint32_t number = place.node->number, order = place.node->order;
    undo_deleted(model, path, instance_take(table, place.node));
    instance_tell(model, Change::DELETE, path, number);
    counter_tell(model, table);
    if (table->schema->ordered) orders_tell(model, table, order, UINT32_MAX);
}

/// Whether all tables keep as many instances as they must have. False with `why`.
bool enough_stay(const std::vector<Node*>& doomed, std::string& why) {
    for (const Node* node : doomed) {
        const Node* table = node->parent;
        auto goes = [table](const Node* other) { return other->parent == table; };
        auto goes_with = [table](const Node* other) { return is_below(table, other); };
        size_t gone = static_cast<size_t>(std::count_if(doomed.begin(), doomed.end(), goes));
        if (table->instances.size() - gone >= table->schema->min_count) continue;
        if (std::any_of(doomed.begin(), doomed.end(), goes_with)) continue;
        why = node_path(table) + " holds at least " + std::to_string(table->schema->min_count);
        return false;
    }
    return true;
}

/// Deletes what was gathered. What holds others goes last.
void doomed_delete(Model& model, const std::vector<Node*>& doomed) {
    std::vector<std::string> paths;
    for (auto node = doomed.rbegin(); node != doomed.rend(); ++node) paths.push_back(node_path(*node));
    for (const std::string& path : paths) instance_drop(model, path);
}

/// Whether the loss of all these can be noted.
bool undo_has_room(const Model& model, const std::vector<Node*>& doomed) {
    size_t size = 0;
    for (const Node* row : doomed) size += undo_size(row);
    return undo_has_room(model, size);
}

/// Gives a new instance its values, by names relative to it. False when one does not fit.
bool values_fill(Model& model, Node* instance, const json_t* values) {
    const char* key;
    json_t* value;
    json_object_foreach(const_cast<json_t*>(values), key, value) {
        Place place = place_of(instance);
        std::string why;
        if (!place_follow(place, key) || place.schema->kind != Schema::PARAMETER || !place.node) return false;
        if (value_check(model, place.schema, nullptr, value, why) != 0) return false;
        slot_set(place.node, place.schema, value_normal(place.schema, value));
    }
    return true;
}

void instance_announce(Model& model, Node* instance) {
    undo_added(model, instance);
    instance_tell(model, Change::ADD, node_path(instance->parent), instance->number);
    counter_tell(model, instance->parent);
}

/// The object that a request names. Null, with `refused` filled, when there is none.
const char* object_named(Model& model, const json_t* params, Place& place, Answer& refused) {
    const char* name = param_text(params, OX_TR_OBJECT_NAME, refused);
    if (!name || (place_find(model, name, place) && place.is_object())) return name;
    refused = answer_fault(FAULT_INVALID_NAME, name);
    return nullptr;
}

/// Adds a row with its first values, or nothing at all.
Answer row_add(Model& model, const Caller& caller, Node* table, const json_t* values, bool dry) {
    uint32_t highest = table->max_instance;
    Node* row = instance_new(table, 0);
    if (!row) return answer_fault(FAULT_RESOURCES, node_path(table) + " has no instance number left");
    alias_make(row);
    rows_complete(model, row, dry);
    uint32_t number = row->number;
    auto accepted = [&model, row] { instance_announce(model, row); };
    Answer answer = undo_has_room(model, undo_size(row))
                        ? values_apply(model, caller, values, {false, dry, node_path(row), accepted})
                        : answer_fault(FAULT_RESOURCES, UNDO_FULL);
    if (answer.code || dry) {
        instance_take(table, row);
        table->max_instance = highest;
    }
    if (answer.code) return answer;
    return answer_of(OX_TR_INSTANCE_NUMBER, json_integer(number));
}

}  // namespace

Answer object_add(Model& model, const Caller& caller, const json_t* params) {
    Answer refused;
    Place place;
    const char* name = object_named(model, params, place, refused);
    if (!name) return refused;
    const Schema* schema = place.schema;
    if (!place.is_table()) return answer_fault(FAULT_INVALID_NAME, std::string(name) + " has no instances");
    if (!schema->writable)
        return answer_fault(FAULT_REQUEST_DENIED, std::string(name) + " takes no new instances");
    if (caller_rank(caller) < schema->write_rank)
        return answer_fault(FAULT_REQUEST_DENIED,
                            std::string("only ") + rank_text(schema->write_rank) + " may add to " + name);
    if (place.node->instances.size() >= schema->max_count)
        return answer_fault(FAULT_RESOURCES,
                            std::string(name) + " holds at most " + std::to_string(schema->max_count));
    bool dry = false;
    const json_t* values = json_object_get(params, OX_TR_PARAMETER_LIST);
    if (values && !json_is_null(values) && !(values = param_list(params, refused))) return refused;
    if (!param_dry_run(params, dry, refused)) return refused;
    return row_add(model, caller, place.node, values, dry);
}

Answer object_delete(Model& model, const Caller& caller, const json_t* params) {
    Answer refused;
    Place place;
    const char* name = object_named(model, params, place, refused);
    if (!name) return refused;
    const Schema* schema = place.schema;
    if (!place.is_instance()) return answer_fault(FAULT_INVALID_NAME, std::string(name) + " is no instance");
    if (!schema->writable)
        return answer_fault(FAULT_REQUEST_DENIED, std::string(name) + " cannot be deleted");
    if (caller_rank(caller) < schema->write_rank)
        return answer_fault(FAULT_REQUEST_DENIED,
                            std::string("only ") + rank_text(schema->write_rank) + " may delete " + name);
    std::string why;
    bool dry = false;
    std::vector<Node*> doomed;
    if (!param_dry_run(params, dry, refused)) return refused;
    if (!cascade_gather(model, place.node, doomed, why) || !enough_stay(doomed, why))
        return answer_fault(FAULT_REQUEST_DENIED, why);
    if (!undo_has_room(model, doomed)) return answer_fault(FAULT_RESOURCES, UNDO_FULL);
    if (!dry) doomed_delete(model, doomed);
    return answer_result();
}

uint32_t instance_add(Model& model, std::string_view object, const json_t* values) {
    Place place;
    if (!place_find(model, object, place) || !place.is_table()) return 0;
    Node* table = place.node;
    Node* instance = instance_new(table, 0);
    if (!instance) return 0;
    alias_make(instance);
    if (!values_fill(model, instance, values)) {
        instance_take(table, instance);
        table->max_instance--;
        return 0;
    }
    uint32_t number = instance->number;
    instance_announce(model, instance);
    return number;
}

bool instance_delete(Model& model, std::string_view path) {
    Place place;
    std::string why;
    std::vector<Node*> doomed;
    if (!place_find(model, path, place) || !place.is_instance()) return false;
    // The device itself may leave less than there must be.
    if (!cascade_gather(model, place.node, doomed, why)) return false;
    doomed_delete(model, doomed);
    return true;
}

std::vector<uint32_t> instance_numbers(Model& model, std::string_view object) {
    std::vector<uint32_t> numbers;
    Place place;
    if (!place_find(model, object, place) || !place.is_table()) return numbers;
    for (auto& instance : place.node->instances) numbers.push_back(instance->number);
    return numbers;
}

}  // namespace obxd
