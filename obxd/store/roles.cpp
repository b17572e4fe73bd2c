// Parameters that mean something by their names.

#include <algorithm>

#include "schema.hpp"

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
        enable->status = status;
        enable->states[0] = std::move(off);
        enable->states[1] = std::move(on);
        return;
    }
}

/// The number of the lookup by that one parameter; a new one where there is none.
uint32_t lookup_of(Schema* schema, Schema* parameter) {
    std::vector<Schema*> wanted{parameter};
    auto found = std::find(schema->lookups.begin(), schema->lookups.end(), wanted);
    uint32_t number = static_cast<uint32_t>(found - schema->lookups.begin());
    if (found == schema->lookups.end()) schema->lookups.push_back(wanted);
    return number;
}

}  // namespace

void schema_roles(Schema* schema) {
    if (schema->argument) return;
    status_tie(schema);
    if (!schema->multi) return;
    schema->alias = parameter_of(schema, "Alias", OX_TR_ALIAS);
    Schema* order = schema->ordered ? schema_child(schema, "Order") : nullptr;
    if (!order || order->kind != Schema::PARAMETER) return;
    order->mirrors_order = true;
    schema->order_mirror = order;
}

void schema_lookups(Schema* schema) {
    schema->lookups = schema->keys;
    if (schema->alias) schema->alias_lookup = lookup_of(schema, schema->alias);
    for (uint32_t i = 0; i < schema->lookups.size(); i++) {
        for (Schema* member : schema->lookups[i])
            if (member->looked_up_by.empty() || member->looked_up_by.back() != i)
                member->looked_up_by.push_back(i);
    }
}

}  // namespace obxd
