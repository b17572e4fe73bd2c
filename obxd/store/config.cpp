#include "config.hpp"

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/live.hpp"
#include "store/params.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

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
        const Schema* schema = place.schema;
        Pseudo pseudo = place.is_table()  ? Pseudo::MAX_INSTANCE
                        : schema->ordered ? Pseudo::ORDER
                                          : Pseudo::NONE;
        if (pseudo != Pseudo::NONE && rank >= schema->read_rank) {
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

Answer config_get(Model& model, const Caller& caller, const json_t* params) {
    Answer refused;
    const char* name = param_text(params, OX_TR_PATH, refused);
    if (!name) return refused;
    int rank = caller_rank(caller);
    JsonRef tree(json_object());
    auto put = [&](const Place& place, const std::string& path) {
        if (place.is_method())
            refused = answer_fault(FAULT_INVALID_NAME, path);
        else if (!place.is_object() && rank < place.schema->read_rank)
            refused = answer_fault(FAULT_REQUEST_DENIED, path);
        else if (path.empty())
            tree.reset(config_tree(place, rank, path));
        else
            config_put(tree, path,
                       place.is_object() ? config_tree(place, rank, path) : place_value(place, &path));
    };
    // A path that does not exist is answered as its nearest ancestor that does.
    std::string nearest = name;
    bool found = places_each(place_top(model), nearest, put);
    while (!found && path_climb(nearest)) found = places_each(place_top(model), nearest, put);
    if (!found) return answer_fault(FAULT_INVALID_NAME, name);
    return refused.code ? std::move(refused) : answer_of(OX_TR_CONFIG, tree.release());
}

}  // namespace obxd
