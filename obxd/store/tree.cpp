#include "tree.hpp"

#include <algorithm>

#include "store/lookups.hpp"

namespace obxd {

std::unique_ptr<Node> node_new(Schema* schema, Node* parent, bool instance) {
    auto node = std::make_unique<Node>(schema, parent);
    if (schema->multi && !instance) {
        node->lookups.resize(schema->lookups.size());
        return node;
    }
    node->values.reserve(schema->parameters.size());
    for (Schema* parameter : schema->parameters)
        node->values.push_back(json_incref(parameter->initial.get()));
    node->objects.reserve(schema->objects.size());
    for (Schema* object : schema->objects) node->objects.push_back(node_new(object, node.get(), false));
    return node;
}

static auto instance_place(const Node* table, uint32_t number) {
    return std::lower_bound(table->instances.begin(), table->instances.end(), number,
                            [](const std::unique_ptr<Node>& node, uint32_t n) { return node->number < n; });
}

Node* instance_find(const Node* table, uint32_t number) {
    auto place = instance_place(table, number);
    return place != table->instances.end() && (*place)->number == number ? place->get() : nullptr;
}

Node* instance_new(Node* table, uint32_t number) {
    if (number == 0) {
        if (table->max_instance == UINT32_MAX) return nullptr;
        number = table->max_instance + 1;
    }
    auto place = instance_place(table, number);
    if (place != table->instances.end() && (*place)->number == number) return nullptr;
    std::unique_ptr<Node> node = node_new(table->schema, table, true);
    node->number = number;
    node->order = static_cast<uint32_t>(table->instances.size()) + 1;
    Node* raw = node.get();
    table->instances.insert(place, std::move(node));
    table->max_instance = std::max(table->max_instance, number);
    return raw;
}

std::unique_ptr<Node> instance_take(Node* table, Node* instance) {
    auto place =
        table->instances.begin() + (instance_place(table, instance->number) - table->instances.begin());
    lookups_leave(instance, nullptr);
    std::unique_ptr<Node> taken = std::move(*place);
    table->instances.erase(place);
    if (!table->schema->ordered) return taken;
    for (auto& other : table->instances)
        if (other->order > taken->order) other->order--;
    return taken;
}

Node* instance_put(Node* table, std::unique_ptr<Node> instance) {
    auto place = instance_place(table, instance->number);
    if (place != table->instances.end() && (*place)->number == instance->number) return nullptr;
    Node* raw = instance.get();
    raw->parent = table;
    raw->order = std::min(raw->order, static_cast<uint32_t>(table->instances.size()) + 1);
    for (auto& other : table->instances)
        if (table->schema->ordered && other->order >= raw->order) other->order++;
    table->instances.insert(place, std::move(instance));
    table->max_instance = std::max(table->max_instance, raw->number);
    lookups_enter(raw, nullptr);
    return raw;
}

void instance_move(Node* instance, uint32_t place) {
    uint32_t old = instance->order;
    for (auto& other : instance->parent->instances) {
        if (old < place && other->order > old && other->order <= place)
            other->order--;
        else if (place < old && other->order >= place && other->order < old)
            other->order++;
    }
    instance->order = place;
}

static void node_path_add(const Node* node, std::string& out) {
    if (!node->parent) return;
    node_path_add(node->parent, out);
    if (node->number)
        out += std::to_string(node->number);
    else
        out += node->schema->name;
    out += '.';
}

std::string node_path(const Node* node) {
    std::string path;
    node_path_add(node, path);
    return path.empty() ? "." : path;
}

void slot_set(Node* node, const Schema* parameter, json_t* value) {
    lookups_leave(node, parameter);
    json_t* old = node->values[parameter->slot];
    node->values[parameter->slot] = value;
    lookups_enter(node, parameter);
    json_decref(old);
}

}  // namespace obxd
