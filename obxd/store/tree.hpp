// The tree of values: making nodes, finding, adding, moving and taking out instances, changing values.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/schema.hpp"

namespace obxd {

/// The instances of a table by the hash of what a lookup compares, those with equal hashes by their numbers.
/// Instances that nobody has given a key yet are not in it.
using Lookup = std::set<std::pair<uint64_t, uint32_t>>;

/// A place that holds values: a single object, a multi-instance object (whose instances are nodes again), or
/// an instance.
struct Node {
    Schema* schema = nullptr;
    Node* parent = nullptr;
    uint32_t number = 0;                           ///< of an instance, else 0
    uint32_t order = 0;                            ///< place of an instance of an ordered object, from 1
    uint32_t max_instance = 0;                     ///< of a multi-instance object: highest number handed out
    std::vector<json_t*> values;                   ///< by parameter slot, owned
    std::vector<std::unique_ptr<Node>> objects;    ///< by object slot
    std::vector<std::unique_ptr<Node>> instances;  ///< of a multi-instance object, by ascending number
    std::vector<Lookup> lookups;                   ///< of a multi-instance object, as its schema has them

    Node(Schema* node_schema, Node* node_parent) : schema(node_schema), parent(node_parent) {}
    ~Node() {
        for (json_t* value : values) json_decref(value);
    }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
};

/// With initial values; of a multi-instance object the one without instances, or (`instance`) an instance.
std::unique_ptr<Node> node_new(Schema* schema, Node* parent, bool instance);
/// A new instance at the end (`number` 0: the next free one); null when the number is taken or none is left.
Node* instance_new(Node* table, uint32_t number);
Node* instance_find(const Node* table, uint32_t number);
/// Takes the instance out and closes the gap in the order.
std::unique_ptr<Node> instance_take(Node* table, Node* instance);
/// Puts an instance that was taken out back, with its number and, where that is still there, its place. Null
/// when the number is taken.
Node* instance_put(Node* table, std::unique_ptr<Node> instance);
/// Moves an instance of an ordered object; `place` is 1 to the number of instances.
void instance_move(Node* instance, uint32_t place);

inline bool is_table(const Node* node) {
    return node->schema->multi && node->number == 0;
}
/// The node's path, which ends in "."; "." for the top.
std::string node_path(const Node* node);
/// Takes over `value`. Every change of a value goes through here, so that lookups stay right.
void slot_set(Node* node, const Schema* parameter, json_t* value);

}  // namespace obxd
