#include "schema.hpp"

#include <stdlib.h>

namespace obxd {

Schema* schema_child(const Schema* parent, std::string_view name) {
    auto found = parent->by_name.find(name);
    return found == parent->by_name.end() ? nullptr : found->second;
}

Schema* schema_add(Schema* parent, std::string_view name) {
    if (schema_child(parent, name)) return nullptr;
    auto child = std::make_unique<Schema>();
    child->name = name;
    child->parent = parent;
    child->argument = parent->argument;
    child->read_rank = parent->read_rank;
    child->write_rank = parent->write_rank;
    Schema* raw = child.get();
    parent->children.push_back(std::move(child));
    parent->by_name.emplace(raw->name, raw);
    return raw;
}

bool choices_hold(const Limits& limits, const json_t* value) {
    for (size_t i = 0; i < json_array_size(limits.choices); i++)
        if (json_equal(json_array_get(limits.choices, i), value)) return true;
    return false;
}

bool instance_number(std::string_view text, uint32_t& number) {
    if (text.empty() || text.size() > 10 || text[0] == '0') return false;
    uint64_t sum = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        sum = sum * 10 + static_cast<uint64_t>(c - '0');
    }
    if (sum > UINT32_MAX) return false;
    number = static_cast<uint32_t>(sum);
    return true;
}

bool path_split(std::string_view path, std::vector<std::string_view>& parts) {
    parts.clear();
    if (path.empty()) return false;
    if (path == ".") return true;
    if (path.back() == '.') path.remove_suffix(1);
    for (;;) {
        size_t dot = path.find('.');
        std::string_view part = path.substr(0, dot);
        if (part.empty()) return false;
        parts.push_back(part);
        if (dot == std::string_view::npos) return true;
        path.remove_prefix(dot + 1);
    }
}

}  // namespace obxd
