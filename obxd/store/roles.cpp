// Parameters that mean something by their names.

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

}  // namespace obxd
