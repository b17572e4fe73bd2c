// Unique keys of multi-instance objects.

#include "impl.hpp"

namespace obxd {

/// The key's values as one text; empty when all are at their defaults, as those of a new instance are.
static std::string key_text(Node* instance, const std::vector<Schema*>& key) {
    std::string text;
    bool untouched = true;
    for (const Schema* member : key) {
        json_t* value = value_read(instance, member, nullptr);
        untouched &= json_equal(value, member->initial) != 0;
        CharsRef dump(json_dumps(value, JSON_ENCODE_ANY | JSON_COMPACT | JSON_SORT_KEYS));
        text += dump.get();
        text += '\n';
    }
    return untouched ? "" : text;
}

Rivals key_rivals(Node* table, const std::vector<Schema*>& key) {
    std::unordered_map<std::string, Node*> first;
    Rivals rivals;
    for (auto& instance : table->instances) {
        std::string text = key_text(instance.get(), key);
        if (text.empty()) continue;
        auto [place, fresh] = first.emplace(std::move(text), instance.get());
        if (fresh) continue;
        rivals.emplace(instance.get(), place->second);
        rivals.emplace(place->second, instance.get());
    }
    return rivals;
}

std::string key_names(const std::vector<Schema*>& key) {
    std::string names;
    for (const Schema* member : key) names += (names.empty() ? "" : ", ") + member->name;
    return names;
}

bool keys_fit(Impl& impl, Node* node, std::string& error) {
    for (auto& instance : node->instances)
        if (!keys_fit(impl, instance.get(), error)) return false;
    for (auto& below : node->objects)
        if (!keys_fit(impl, below.get(), error)) return false;
    if (!is_table(node)) return true;
    for (auto& key : node->schema->keys) {
        Rivals rivals = key_rivals(node, key);
        for (auto& instance : node->instances) {
            auto clash = rivals.find(instance.get());
            if (clash == rivals.end() || clash->second->number > instance->number) continue;
            error = node_path(instance.get()) + ": has the same " + key_names(key) + " as " +
                    node_path(clash->second);
            return false;
        }
    }
    return true;
}

}  // namespace obxd
