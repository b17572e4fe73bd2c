#include "keys.hpp"

#include "store/live.hpp"
#include "store/lookups.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// Values that are computed when they are read are in the lookups as they were read last.
void members_refresh(Node* table, const std::vector<Schema*>& members) {
    for (const Schema* member : members) {
        if (!member->counts && !member->mirrors_order && member->live.empty()) continue;
        for (auto& instance : table->instances) value_read(instance.get(), member, nullptr);
    }
}

struct KeysVisitor {
    std::string& error;

    bool enter(const Place&, const std::string&) const { return error.empty(); }
    void leaf(const Place&, const std::string&) const {}
    void leave(const Place& place) const {
        if (!place.is_table()) return;
        for (size_t key = 0; key < place.schema->keys.size() && error.empty(); key++) table(place.node, key);
    }
    void table(Node* node, size_t key) const {
        const std::vector<Schema*>& members = node->schema->keys[key].members;
        members_refresh(node, members);
        for (auto& instance : node->instances) {
            const Node* clash = lookup_rival(instance.get(), key);
            if (!clash || clash->number > instance->number) continue;
            error = node_path(instance.get()) + ": has the same " + key_names(members) + " as " +
                    node_path(clash);
            return;
        }
    }
};

}  // namespace

Node* key_rival(Node* instance, size_t key) {
    members_refresh(instance->parent, instance->schema->lookups[key].members);
    return lookup_rival(instance, key);
}

std::string key_names(const std::vector<Schema*>& key) {
    std::string names;
    for (const Schema* member : key) names += (names.empty() ? "" : ", ") + member->name;
    return names;
}

bool keys_fit(Model& model, std::string& error) {
    error.clear();
    KeysVisitor visitor{error};
    walk_all<Walk::VALUES>(visitor, place_top(model));
    return error.empty();
}

}  // namespace obxd
