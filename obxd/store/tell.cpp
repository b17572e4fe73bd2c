#include "tell.hpp"

#include "ox_tr_names.hpp"
#include "store/live.hpp"

namespace obxd {

void value_tell(Model& model, const std::string& path, json_t* value) {
    if (model.listener) model.listener({Change::VALUE, path, 0, value});
}

void instance_tell(Model& model, Change::Kind kind, const std::string& path, uint32_t number) {
    if (model.listener) model.listener({kind, path, number, nullptr});
}

void counter_tell(Model& model, Node* table) {
    const Schema* counter = table->schema->counter;
    if (!counter || !model.listener) return;
    value_tell(model, node_path(table->parent) + counter->name, value_read(table->parent, counter, nullptr));
}

void orders_tell(Model& model, Node* table, uint32_t from, uint32_t to) {
    if (!model.listener) return;
    for (auto& instance : table->instances) {
        if (instance->order < from || instance->order > to) continue;
        std::string path = node_path(instance.get());
        if (const Schema* mirror = table->schema->order_mirror) {
            value_tell(model, path + mirror->name, value_read(instance.get(), mirror, nullptr));
        } else {
            JsonRef order(json_integer(instance->order));
            value_tell(model, path + OX_TR_ORDER, order);
        }
    }
}

}  // namespace obxd
