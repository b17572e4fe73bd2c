// Adding and deleting instances.

#include <string.h>

#include <algorithm>

#include "impl.hpp"

namespace obxd {
namespace {

void tell(Impl& impl, Change::Kind kind, const std::string& path, uint32_t number) {
    if (impl.listener) impl.listener({kind, path, number, nullptr});
}

void counter_tell(Impl& impl, Node* table) {
    const Schema* counter = table->schema->counter;
    if (!counter || !impl.listener) return;
    json_t* value = value_read(table->parent, counter, nullptr);
    impl.listener({Change::VALUE, node_path(table->parent) + counter->name, 0, value});
}

void alias_make(Node* instance) {
    const Schema* alias = instance->schema->alias;
    if (!alias) return;
    std::string base = "cpe-" + std::to_string(instance->number);
    JsonRef text(json_string(base.c_str()));
    for (int i = 2; alias_taken(instance->parent, text); i++)
        text.reset(json_string((base + "-" + std::to_string(i)).c_str()));
    slot_set(instance, alias, text.release());
}

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
bool cascade_gather(Impl& impl, Node* instance, std::vector<Node*>& doomed, std::string& why) {
    doomed.push_back(instance);
    std::string deleted = node_path(instance);
    for (const Referrer& referrer : referrers_of(impl, deleted)) {
        bool dying = std::any_of(doomed.begin(), doomed.end(),
                                 [&](Node* node) { return is_below(referrer.node, node); });
        if (dying) continue;
        if (referrer.verdict == VERDICT_DENY) {
            why = node_path(referrer.node) + referrer.parameter->name + " refers to " + deleted;
            return false;
        }
        Node* victim = referrer.verdict == VERDICT_CASCADE ? holder(referrer.node) : nullptr;
        if (victim && !cascade_gather(impl, victim, doomed, why)) return false;
    }
    return true;
}

/// Whether what refers to a deleted instance is deleted with it.
bool goes_too(const Referrer& referrer) {
    return referrer.verdict == VERDICT_DENY || (referrer.verdict == VERDICT_CASCADE && holder(referrer.node));
}

void instance_drop(Impl& impl, const std::string& path) {
    Target target;
    if (!target_find(impl, path, target)) return;  // went with another one
    for (const Referrer& referrer : referrers_of(impl, path))
        if (!is_below(referrer.node, target.node) && !goes_too(referrer))
            reference_clear(impl, referrer, path);
    Node* table = target.node->parent;
    std::unique_ptr<Node> gone = instance_take(table, target.node);
    tell(impl, Change::DELETE, path, gone->number);
    counter_tell(impl, table);
    if (table->schema->ordered) orders_tell(impl, table, gone->order, UINT32_MAX);
}

bool instance_delete(Impl& impl, Node* instance, std::string& why) {
    std::vector<Node*> doomed;
    if (!cascade_gather(impl, instance, doomed, why)) return false;
    std::vector<std::string> paths;
    for (auto node = doomed.rbegin(); node != doomed.rend(); ++node) paths.push_back(node_path(*node));
    for (const std::string& path : paths) instance_drop(impl, path);
    return true;
}

/// Gives a new instance its values, by names relative to it. False when one does not fit.
bool values_fill(Impl& impl, Node* instance, const json_t* values) {
    std::string prefix = node_path(instance);
    const char* key;
    json_t* value;
    json_object_foreach(const_cast<json_t*>(values), key, value) {
        Target target;
        std::string why;
        bool found = target_find(impl, prefix + key, target) && target.schema;
        if (!found || target.schema->kind != Schema::PARAMETER) return false;
        if (value_check(impl, target.schema, nullptr, value, why) != 0) return false;
        slot_set(target.node, target.schema, value_normal(target.schema, value));
    }
    return true;
}

void instance_announce(Impl& impl, Node* instance) {
    tell(impl, Change::ADD, node_path(instance->parent), instance->number);
    counter_tell(impl, instance->parent);
}

}  // namespace

Answer Store::add_object(const Caller& caller, const json_t* params) {
    const char* name = json_string_value(json_object_get(params, "ObjectName"));
    if (!name) return fault(FAULT_INVALID_ARGUMENTS, "ObjectName is no text");
    Target target;
    if (!target_find(*impl_, name, target) || !target.is_object()) return fault(FAULT_INVALID_NAME, name);
    Node* table = target.node;
    if (!is_table(table)) return fault(FAULT_INVALID_NAME, std::string(name) + " has no instances");
    const Schema* schema = table->schema;
    if (!schema->writable) return fault(FAULT_REQUEST_DENIED, std::string(name) + " takes no new instances");
    if (caller_rank(caller) < schema->write_rank)
        return fault(FAULT_REQUEST_DENIED,
                     std::string("only ") + rank_text(schema->write_rank) + " may add to " + name);
    if (table->instances.size() >= schema->max_count)
        return fault(FAULT_RESOURCES,
                     std::string(name) + " holds at most " + std::to_string(schema->max_count));
    Node* instance = instance_new(table, 0);
    if (!instance) return fault(FAULT_RESOURCES, std::string(name) + " has no instance number left");
    alias_make(instance);
    Answer answer;
    answer.result = json_pack("{s:I}", "InstanceNumber", static_cast<json_int_t>(instance->number));
    instance_announce(*impl_, instance);
    return answer;
}

Answer Store::delete_object(const Caller& caller, const json_t* params) {
    const char* name = json_string_value(json_object_get(params, "ObjectName"));
    if (!name) return fault(FAULT_INVALID_ARGUMENTS, "ObjectName is no text");
    Target target;
    if (!target_find(*impl_, name, target) || !target.is_object()) return fault(FAULT_INVALID_NAME, name);
    const Schema* schema = target.node->schema;
    if (!target.node->number) return fault(FAULT_INVALID_NAME, std::string(name) + " is no instance");
    if (!schema->writable) return fault(FAULT_REQUEST_DENIED, std::string(name) + " cannot be deleted");
    if (caller_rank(caller) < schema->write_rank)
        return fault(FAULT_REQUEST_DENIED,
                     std::string("only ") + rank_text(schema->write_rank) + " may delete " + name);
    std::string why;
    if (!instance_delete(*impl_, target.node, why)) return fault(FAULT_REQUEST_DENIED, why);
    Answer answer;
    answer.result = json_object();
    return answer;
}

uint32_t Store::add_instance(std::string_view object, const json_t* values) {
    Target target;
    if (!target_find(*impl_, object, target) || !target.is_object() || !is_table(target.node)) return 0;
    Node* table = target.node;
    Node* instance = instance_new(table, 0);
    if (!instance) return 0;
    alias_make(instance);
    if (!values_fill(*impl_, instance, values)) {
        instance_take(table, instance);
        table->max_instance--;
        return 0;
    }
    uint32_t number = instance->number;
    instance_announce(*impl_, instance);
    return number;
}

bool Store::delete_instance(std::string_view instance) {
    Target target;
    std::string why;
    if (!target_find(*impl_, instance, target) || !target.is_object() || !target.node->number) return false;
    return instance_delete(*impl_, target.node, why);
}

}  // namespace obxd
