#include "schema.hpp"

namespace obxd {

Schema* schema_child(const Schema* parent, std::string_view name) {
    if (!parent->by_name) return nullptr;
    auto found = parent->by_name->find(name);
    return found == parent->by_name->end() ? nullptr : found->second;
}

std::string schema_path(const Schema* schema) {
    if (!schema->parent) return ".";
    return schema->parent->parent ? schema_path(schema->parent) + "." + schema->name : schema->name;
}

}  // namespace obxd
