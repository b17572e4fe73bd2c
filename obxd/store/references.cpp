// References between objects, and what becomes of them when an instance goes.

#include <algorithm>

#include "impl.hpp"
#include "value_text.hpp"

namespace obxd {
namespace {

bool names_below(std::string_view path, const std::string& deleted) {
    return path.starts_with(deleted) || (path.size() + 1 == deleted.size() && deleted.starts_with(path));
}

bool is_instance_part(std::string_view part) {
    return part == "*" || part == "#template";
}

bool relation_covers(const Relation& relation, const std::vector<std::string_view>& deleted) {
    if (deleted.size() > relation.match.size()) return false;
    return std::equal(deleted.begin(), deleted.end(), relation.match.begin(),
                      [](auto part, auto& wanted) { return is_instance_part(wanted) || wanted == part; });
}

/// Whether a reference to `target` (a table, as in "foreign_key") can name the instance or something below
/// it.
bool target_covers(const std::string& target, const std::vector<std::string_view>& deleted) {
    std::vector<std::string_view> wanted;
    path_split(target, wanted);
    size_t shared = std::min(wanted.size(), deleted.size());
    return deleted.size() <= wanted.size() + 1 &&
           std::equal(wanted.begin(), wanted.begin() + static_cast<ptrdiff_t>(shared), deleted.begin(),
                      [](auto part, auto given) { return is_instance_part(part) || part == given; });
}

bool may_name(const Schema* parameter, const std::vector<std::string_view>& deleted) {
    const auto& targets = parameter->limits->targets;
    return targets.empty() || std::any_of(targets.begin(), targets.end(), [&](const std::string& target) {
               return target_covers(target, deleted);
           });
}

std::string_view text_at(const Node* node, const Schema* parameter) {
    const json_t* value = node->values[parameter->slot];
    const char* text = json_string_value(value);
    return text ? std::string_view(text, json_string_length(value)) : std::string_view();
}

/// Calls `visit` with each object that holds the parameter.
template <typename Visit>
void owners_each(Node* node, const Reference& reference, size_t at, const Visit& visit) {
    if (is_table(node)) {
        for (auto& instance : node->instances) owners_each(instance.get(), reference, at, visit);
        return;
    }
    if (at == reference.chain.size()) return visit(node);
    owners_each(node->objects[reference.chain[at]->slot].get(), reference, at + 1, visit);
}

/// Takes the items out for which `gone` says so.
template <typename Gone>
void items_drop(Node* node, const Schema* parameter, const Gone& gone) {
    std::string kept;
    for (std::string_view item : list_items(text_at(node, parameter)))
        if (!gone(item)) kept += (kept.empty() ? "" : ",") + std::string(item);
    slot_set(node, parameter, json_string(kept.c_str()));
}

/// Whether the path leads through one of the instances.
bool leads_through(const std::unordered_set<std::string_view>& instances, std::string_view item) {
    std::string path(item);
    path += '.';
    for (size_t dot = path.find('.'); dot != std::string::npos; dot = path.find('.', dot + 1))
        if (instances.count(std::string_view(path).substr(0, dot + 1))) return true;
    return false;
}

}  // namespace

void reference_note(Impl& impl, const Schema* parameter) {
    if (parameter->limits->type != OX_TR_PATH_REF && parameter->relations.empty()) return;
    Reference reference{parameter, {}};
    for (const Schema* schema = parameter->parent; schema->parent; schema = schema->parent)
        reference.chain.insert(reference.chain.begin(), schema);
    impl.references.push_back(std::move(reference));
}

std::vector<Referrer> referrers_of(Impl& impl, const std::string& deleted) {
    std::vector<Referrer> found;
    std::vector<std::string_view> parts;
    path_split(deleted, parts);
    for (const Reference& reference : impl.references) {
        const Schema* parameter = reference.parameter;
        if (!may_name(parameter, parts)) continue;
        auto relation = std::find_if(parameter->relations.begin(), parameter->relations.end(),
                                     [&](auto& each) { return relation_covers(each, parts); });
        Verdict verdict = relation == parameter->relations.end() ? VERDICT_CLEAR : relation->verdict;
        owners_each(impl.top.get(), reference, 0, [&](Node* node) {
            std::string_view text = text_at(node, parameter);
            if (text.empty()) return;
            auto items = list_items(text);
            bool refers = std::any_of(items.begin(), items.end(),
                                      [&](std::string_view item) { return names_below(item, deleted); });
            if (refers) found.push_back({node, parameter, verdict});
        });
    }
    return found;
}

void reference_clear(Impl& impl, const Referrer& referrer, const std::string& deleted) {
    items_drop(referrer.node, referrer.parameter,
               [&](std::string_view item) { return names_below(item, deleted); });
    if (!impl.listener) return;
    JsonRef value(json_incref(value_shown(referrer.node, referrer.parameter, nullptr)));
    impl.listener({Change::VALUE, node_path(referrer.node) + referrer.parameter->name, 0, value});
}

void references_forget(Impl& impl, const std::unordered_set<std::string_view>& gone) {
    if (gone.empty()) return;
    for (const Reference& reference : impl.references) {
        owners_each(impl.top.get(), reference, 0, [&](Node* node) {
            auto dangles = [&](std::string_view item) { return leads_through(gone, item); };
            auto items = list_items(text_at(node, reference.parameter));
            if (std::any_of(items.begin(), items.end(), dangles))
                items_drop(node, reference.parameter, dangles);
        });
    }
}

}  // namespace obxd
