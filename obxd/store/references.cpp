#include "references.hpp"

#include <algorithm>
#include <functional>

#include "ox_tr_path.hpp"
#include "store/live.hpp"
#include "store/pattern.hpp"
#include "store/place.hpp"
#include "store/scopes.hpp"
#include "store/tell.hpp"
#include "store/undo.hpp"
#include "store/value_text.hpp"

namespace obxd {
namespace {

bool names_below(std::string_view path, const std::string& deleted) {
    return path.starts_with(deleted) || (path.size() + 1 == deleted.size() && deleted.starts_with(path));
}

/// Whether a reference to `target` (a table) can name the instance or something below it.
bool target_covers(const std::string& target, const std::string& deleted) {
    size_t target_left, deleted_left;
    return pattern_fits(target, deleted, target_left, deleted_left) &&
           (deleted_left <= 1 || scope_is_top(target));
}

bool may_name(const Reference& reference, const std::string& deleted) {
    const auto& targets = reference.targets;
    return targets.empty() || std::any_of(targets.begin(), targets.end(), [&](const std::string& target) {
               return target_covers(target, deleted);
           });
}

Verdict verdict_of(const Schema* parameter, const std::string& deleted) {
    for (const Relation& relation : parameter->relations) {
        size_t relation_left, deleted_left;
        if (pattern_fits(relation.match, deleted, relation_left, deleted_left) && deleted_left == 0)
            return relation.verdict;
    }
    return VERDICT_CLEAR;
}

std::string_view text_at(const Node* node, const Schema* parameter) {
    const json_t* value = node->values[parameter->slot];
    const char* text = json_string_value(value);
    return text ? std::string_view(text, json_string_length(value)) : std::string_view();
}

/// Calls `visit` with each single object or instance of an object of the model.
void nodes_each(Node* top, const Schema* object, const std::function<void(Node*)>& visit) {
    if (!object->parent) return visit(top);
    nodes_each(top, object->parent, [&](Node* parent) {
        Node* node = parent->objects[object->slot].get();
        if (!object->multi) return visit(node);
        for (auto& instance : node->instances) visit(instance.get());
    });
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
    for (std::string_view name : ox_tr_components(path)) {
        const char* behind = name.data() + name.size() + 1;
        if (instances.count({path.data(), static_cast<size_t>(behind - path.data())})) return true;
    }
    return false;
}

}  // namespace

void reference_note(Model& model, const Schema* parameter) {
    const Limits& limits = *parameter->limits;
    bool follows = limits.type == OX_TR_PATH_REF && !limits.weak;
    if (!follows && parameter->relations.empty()) return;
    Reference reference{parameter, {}};
    for (const std::string& target : limits.targets)
        reference.targets.push_back(scope_path(parameter->parent, nullptr, target));
    model.references.push_back(std::move(reference));
}

std::vector<Referrer> referrers_of(Model& model, const std::string& deleted) {
    std::vector<Referrer> found;
    for (const Reference& reference : model.references) {
        const Schema* parameter = reference.parameter;
        if (!may_name(reference, deleted)) continue;
        Verdict verdict = verdict_of(parameter, deleted);
        nodes_each(model.top.get(), parameter->parent, [&](Node* node) {
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

void reference_clear(Model& model, const Referrer& referrer, const std::string& deleted) {
    undo_consequence(model, referrer.node, referrer.parameter,
                     referrer.node->values[referrer.parameter->slot]);
    items_drop(referrer.node, referrer.parameter,
               [&](std::string_view item) { return names_below(item, deleted); });
    if (!model.listener) return;
    JsonRef value(json_incref(value_shown(referrer.node, referrer.parameter, nullptr)));
    value_tell(model, node_path(referrer.node) + referrer.parameter->name, value);
}

bool reference_tidy(Model& model, Node* node, const Schema* parameter) {
    const Limits& limits = *parameter->limits;
    if (limits.type != OX_TR_PATH_REF || limits.weak) return false;
    auto dangles = [&model](std::string_view item) {
        Place place;
        return !item.empty() && !place_find(model, item, place);
    };
    auto items = list_items(text_at(node, parameter));
    if (std::none_of(items.begin(), items.end(), dangles)) return false;
    items_drop(node, parameter, dangles);
    return true;
}

void references_forget(Model& model, const std::unordered_set<std::string_view>& gone) {
    if (gone.empty()) return;
    for (const Reference& reference : model.references) {
        const Schema* parameter = reference.parameter;
        nodes_each(model.top.get(), parameter->parent, [&](Node* node) {
            auto dangles = [&](std::string_view item) { return leads_through(gone, item); };
            auto items = list_items(text_at(node, parameter));
            if (std::any_of(items.begin(), items.end(), dangles)) items_drop(node, parameter, dangles);
        });
    }
}

}  // namespace obxd
