#include "ties.hpp"

#include <algorithm>

#include "store/lookups.hpp"

namespace obxd {
namespace {

/// What a "Status" says while the "Enable" beside it is false, and true.
struct States {
    const char* off;
    const char* on;
};
constexpr States STATES[] = {{"Disabled", "Enabled"}, {"Down", "Up"}, {"Disabled", "Synchronized"}};

Schema* parameter_of(const Schema* schema, const char* name, int type) {
    Schema* child = schema_child(schema, name);
    if (!child || child->kind != Schema::PARAMETER || child->limits->list) return nullptr;
    return child->limits->type == type ? child : nullptr;
}

void status_tie(const Schema* schema) {
    Schema* enable = parameter_of(schema, "Enable", OX_TR_BOOLEAN);
    Schema* status = parameter_of(schema, "Status", OX_TR_STRING);
    if (!enable || !status || !enable->writable || status->writable) return;
    for (const States& row : STATES) {
        JsonRef off(json_string(row.off)), on(json_string(row.on));
        if (!choices_hold(*status->limits, off) || !choices_hold(*status->limits, on)) continue;
        enable->follower = status;
        enable->states[0] = std::move(off);
        enable->states[1] = std::move(on);
        return;
    }
}

/// Ties a table to the parameter beside it that it names as its counter, or else to the one that its own name
/// gives ("HostNumberOfEntries"), where that counts nothing else.
void counter_tie(Schema* table) {
    bool named = table->named && !table->named->first.empty();
    Schema* counter =
        schema_child(table->parent, named ? table->named->first : table->name + "NumberOfEntries");
    if (counter && counter->kind == Schema::PARAMETER && !counter->counts) tie_counter(counter, table->name);
}

/// The number of the lookup by that one parameter; a new one where there is none.
uint32_t lookup_of(Schema* schema, Schema* parameter) {
    Key wanted{{parameter}};
    auto found = std::find(schema->lookups.begin(), schema->lookups.end(), wanted);
    uint32_t number = static_cast<uint32_t>(found - schema->lookups.begin());
    if (found == schema->lookups.end()) schema->lookups.push_back(wanted);
    return number;
}

std::string alias_text(const Node* instance) {
    return "cpe-" + std::to_string(instance->number);
}

}  // namespace

void ties_make(Schema* object) {
    if (object->argument) return;
    status_tie(object);
    for (Schema* below : object->objects)
        if (below->multi && !below->counter) counter_tie(below);
    if (!object->multi) return;
    object->alias = parameter_of(object, "Alias", OX_TR_ALIAS);
    Schema* order = object->ordered ? schema_child(object, "Order") : nullptr;
    if (!order || order->kind != Schema::PARAMETER) return;
    order->mirrors_order = true;
    object->order_mirror = order;
}

bool tie_counter(Schema* parameter, std::string_view counts) {
    Schema* table = schema_child(parameter->parent, counts);
    if (!table || !table->multi) return false;
    parameter->counts = table;
    table->counter = parameter;
    return true;
}

void ties_look_up(Schema* object) {
    object->lookups = object->keys;
    if (object->alias) object->alias_lookup = lookup_of(object, object->alias);
    auto note = [](Schema* member, uint32_t at) {
        if (member->looked_up_by.empty() || member->looked_up_by.back() != at)
            member->looked_up_by.push_back(at);
    };
    for (uint32_t i = 0; i < object->lookups.size(); i++) {
        Key& lookup = object->lookups[i];
        lookup.functional &= object->enable != nullptr;
        for (Schema* member : lookup.members) note(member, i);
        if (lookup.functional) note(object->enable, i);
    }
}

bool status_follow(Node* node, const Schema* enable) {
    json_t* wanted = enable->states[json_is_true(node->values[enable->slot]) ? 1 : 0];
    if (!enable->follower || json_equal(node->values[enable->follower->slot], wanted)) return false;
    slot_set(node, enable->follower, json_incref(wanted));
    return true;
}

bool is_spent(const Node* node, const Schema* parameter) {
    if (!parameter->write_once) return false;
    const json_t* value = node->values[parameter->slot];
    if (json_equal(value, parameter->initial)) return false;
    if (parameter != node->schema->alias) return true;
    std::string_view text(json_string_value(value), json_string_length(value));
    std::string given = alias_text(node);
    if (!text.starts_with(given)) return true;
    text.remove_prefix(given.size());
    return !text.empty() && (text[0] != '-' || text.find_first_not_of("0123456789", 1) != text.npos);
}

void alias_make(Node* instance) {
    const Schema* alias = instance->schema->alias;
    if (!alias) return;
    std::string base = alias_text(instance);
    JsonRef text(json_string(base.c_str()));
    for (int i = 2; alias_taken(instance->parent, text); i++)
        text.reset(json_string((base + "-" + std::to_string(i)).c_str()));
    slot_set(instance, alias, text.release());
}

void alias_fill(Node* instance) {
    const Schema* alias = instance->schema->alias;
    if (!alias || json_string_length(instance->values[alias->slot])) return;
    slot_set(instance, alias, json_string(alias_text(instance).c_str()));
}

}  // namespace obxd
