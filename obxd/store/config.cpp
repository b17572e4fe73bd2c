#include "config.hpp"

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/live.hpp"
#include "store/params.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

/// The pseudo-parameter that stands among an object's values.
Pseudo pseudo_of(const Place& place) {
    if (place.is_table()) return Pseudo::MAX_INSTANCE;
    return place.schema->ordered ? Pseudo::ORDER : Pseudo::NONE;
}

struct ConfigVisitor {
    int rank;
    std::vector<json_t*> open;  ///< borrowed, each held by the one before it

    bool enter(const Place& place, const std::string&) {
        json_t* tree = json_object();
        json_object_set_new_nocheck(open.back(), PlaceName(place).text(), tree);
        open.push_back(tree);
        return true;
    }
    void leave(const Place& place) {
        Pseudo pseudo = pseudo_of(place);
        if (pseudo != Pseudo::NONE && rank >= place.schema->read_rank) {
            Place shown{place.schema, place.node, place.item, pseudo};
            json_object_set_new_nocheck(open.back(), PlaceName(shown).text(), place_value(shown, nullptr));
        }
        open.pop_back();
    }
    void leaf(const Place& place, const std::string& path) {
        if (place.is_method() || rank < place.schema->read_rank) return;
        json_object_set_nocheck(open.back(), place.schema->name.c_str(),
                                value_shown(place.node, place.schema, &path));
    }
};

struct ConfigWriter {
    int rank;
    TreeText& tree;

    bool enter(const Place& place, const std::string&) const {
        if (tree.full()) return false;
        tree.open(PlaceName(place).text());
        return true;
    }
    void leave(const Place& place) const {
        end(place);
        tree.close();
    }
    /// What stands behind the members of an object.
    void end(const Place& place) const {
        Pseudo pseudo = pseudo_of(place);
        if (pseudo == Pseudo::NONE || rank < place.schema->read_rank) return;
        Place shown{place.schema, place.node, place.item, pseudo};
        tree.value(PlaceName(shown).text(), JsonRef(place_value(shown, nullptr)));
    }
    void leaf(const Place& place, const std::string& path) const {
        if (place.is_method() || rank < place.schema->read_rank || tree.full()) return;
        tree.value(place.schema->name, value_shown(place.node, place.schema, &path));
    }
};

}  // namespace

json_t* config_tree(const Place& place, int rank, const std::string& path) {
    json_t* tree = json_object();
    ConfigVisitor visitor{rank, {tree}};
    walk<Walk::VALUES>(visitor, place, path);
    visitor.leave(place);
    return tree;
}

bool config_put(json_t* tree, std::string_view path, json_t* value) {
    std::string_view leaf = ox_tr_path_leaf(path);
    for (std::string_view name : ox_tr_components(path)) {
        std::string key(name);
        if (name.data() == leaf.data()) return json_object_set_new_nocheck(tree, key.c_str(), value) == 0;
        json_t* next = json_object_get(tree, key.c_str());
        if (!next) json_object_set_new_nocheck(tree, key.c_str(), next = json_object());
        tree = next;
    }
    json_decref(value);
    return false;
}

void config_text(const Place& place, int rank, const std::string& path, TreeText& tree) {
    ConfigWriter writer{rank, tree};
    walk<Walk::VALUES>(writer, place, path);
    writer.end(place);
}

Answer config_get(Model& model, const Caller& caller, const json_t* params, size_t room) {
    Answer refused;
    const char* name = param_text(params, OX_TR_PATH, refused);
    if (!name) return refused;
    int rank = caller_rank(caller);
    TreeText tree(room);
    PathWriter way(tree);
    tree.open();
    tree.open(OX_TR_CONFIG);
    auto put = [&](const Place& place, const std::string& path) {
        if (tree.full()) return;
        if (place.is_method())
            refused = answer_fault(FAULT_INVALID_NAME, path);
        else if (!place.is_object() && rank < place.schema->read_rank)
            refused = answer_fault(FAULT_REQUEST_DENIED, path);
        else if (path.empty())
            config_text(place, rank, path, tree);
        else if (!place.is_object())
            tree.value(way.go(path), JsonRef(place_value(place, &path)));
        else {
            tree.open(way.go(path));
            config_text(place, rank, path, tree);
            tree.close();
        }
    };
    // A path that does not exist is answered as its nearest ancestor that does.
    std::string nearest = path_reach(model, name);
    bool found = places_each(place_top(model), nearest, put);
    while (!found && path_climb(nearest)) found = places_each(place_top(model), nearest, put);
    if (!found) return answer_fault(FAULT_INVALID_NAME, name);
    if (refused.code) return refused;
    way.end();
    tree.close();
    tree.close();
    return tree.end();
}

}  // namespace obxd
