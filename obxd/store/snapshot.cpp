#include "snapshot.hpp"

#include <unordered_set>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/apply.hpp"
#include "store/references.hpp"
#include "store/tell.hpp"
#include "store/undo.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// What a tree of values has of the model.
enum class Extent { CONFIGURATION, ALL };

template <Extent EXTENT>
struct SnapshotVisitor {
    static constexpr bool ALL = EXTENT == Extent::ALL;
    std::vector<JsonRef> open;

    bool enter(const Place&, const std::string&) {
        open.emplace_back(json_object());
        return true;
    }
    void leaf(const Place& place, const std::string&) {
        const Schema* schema = place.schema;
        if (schema->kind != Schema::PARAMETER || schema->mirrors_order) return;
        json_t* value = place.node->values[schema->slot];
        bool wanted = ALL ? !schema->counts && !json_equal(value, schema->initial)
                          : schema->writable && !schema->runtime;
        if (wanted) json_object_set_nocheck(open.back(), schema->name.c_str(), value);
    }
    void leave(const Place& place) {
        const Schema* schema = place.schema;
        JsonRef tree = std::move(open.back());
        open.pop_back();
        // An instance that requests can add is there even where there is nothing to set in it.
        bool own = ALL || schema->writable;
        if (place.is_table() && own && (!ALL || place.node->max_instance))
            json_object_set_new_nocheck(tree, OX_TR_MAX_INSTANCE, json_integer(place.node->max_instance));
        if (place.is_instance() && schema->ordered)
            json_object_set_new_nocheck(tree, OX_TR_ORDER, json_integer(place.node->order));
        if (json_object_size(tree) || (place.is_instance() && own))
            json_object_set_new_nocheck(open.back(), PlaceName(place).text(), tree.release());
    }
};

template <Extent EXTENT>
json_t* tree_take(Model& model) {
    SnapshotVisitor<EXTENT> visitor;
    visitor.open.emplace_back(json_object());
    walk_all<Walk::VALUES>(visitor, place_top(model));
    return visitor.open.back().release();
}

struct InstancesVisitor {
    std::vector<std::string> found;

    bool enter(const Place& place, const std::string& path) {
        if (place.is_instance()) found.push_back(path);
        return true;
    }
    void leaf(const Place&, const std::string&) const {}
    void leave(const Place&) const {}
};

void path_tell(Model& model, Change::Kind kind, const std::string& path) {
    std::string_view leaf = ox_tr_path_leaf(path);
    uint32_t number = 0;
    ox_tr_instance_number(leaf, &number);
    size_t table = static_cast<size_t>(leaf.data() - path.data());
    instance_tell(model, kind, kind == Change::ADD ? path.substr(0, table) : path, number);
}

}  // namespace

std::vector<std::string> instances_of(Model& model) {
    InstancesVisitor visitor;
    walk_all<Walk::VALUES>(visitor, place_top(model));
    return std::move(visitor.found);
}

// What holds others is told last when it went and first when it came.
void instances_settle(Model& model, const std::vector<std::string>& before) {
    std::vector<std::string> after = instances_of(model);
    std::unordered_set<std::string_view> had(before.begin(), before.end()), has(after.begin(), after.end());
    std::unordered_set<std::string_view> gone;
    for (const std::string& path : before)
        if (!has.count(path)) gone.insert(path);
    references_forget(model, gone);
    if (!model.listener) return;
    for (auto path = before.rbegin(); path != before.rend(); ++path)
        if (gone.count(*path)) path_tell(model, Change::DELETE, *path);
    for (const std::string& path : after)
        if (!had.count(path)) path_tell(model, Change::ADD, path);
}

json_t* snapshot_take(Model& model) {
    return tree_take<Extent::CONFIGURATION>(model);
}

json_t* values_take(Model& model) {
    return tree_take<Extent::ALL>(model);
}

bool snapshot_restore(Model& model, const json_t* snapshot, std::string& error) {
    if (!tree_check(model, snapshot, error)) return false;
    std::vector<std::string> before = instances_of(model);
    tree_apply(model, snapshot, true, {});
    undo_overrule(model, snapshot, {});
    instances_settle(model, before);
    return true;
}

void defaults_reset(Model& model, const std::vector<std::string>& keep) {
    std::vector<std::string> before = instances_of(model);
    tree_apply(model, model.pristine, false, keep);
    undo_overrule(model, nullptr, keep);
    instances_settle(model, before);
}

}  // namespace obxd
