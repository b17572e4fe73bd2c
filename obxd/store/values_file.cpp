#include "values_file.hpp"

#include <string.h>

#include "json_error.hpp"
#include "ox_tr_path.hpp"
#include "store/apply.hpp"

namespace obxd {
namespace {

/// Puts a value into a tree, at the end of a path; what is an object is joined with what is there.
bool value_join(json_t* tree, std::string_view path, json_t* value) {
    if (!ox_tr_path_is_exact(path)) return false;
    std::string_view leaf = ox_tr_path_leaf(path);
    for (std::string_view name : ox_tr_components(path)) {
        std::string key(name);
        json_t* next = json_object_get(tree, key.c_str());
        bool last = name.data() == leaf.data();
        if (last && !(json_is_object(next) && json_is_object(value)))
            return json_object_set(tree, key.c_str(), value) == 0;
        if (last) return json_object_update_recursive(next, value) == 0;
        if (!next) json_object_set_new(tree, key.c_str(), next = json_object());
        if (!json_is_object(next)) return false;
        tree = next;
    }
    return false;
}

/// The tree without whole paths. Null with `why`.
JsonRef paths_open(json_t* given, std::string& why) {
    if (!json_is_object(given)) {
        why = "is no JSON object";
        return JsonRef();
    }
    JsonRef tree(json_object());
    const char* key;
    json_t* value;
    json_object_foreach(given, key, value) {
        if (value_join(tree, key, value)) continue;
        why = std::string(key) + ": is no path of a value";
        return JsonRef();
    }
    return tree;
}

}  // namespace

bool values_load(Model& model, const std::string& file, std::string& error) {
    json_error_t where;
    JsonRef json(json_load_file(file.c_str(), JSON_REJECT_DUPLICATES, &where));
    if (!json) {
        error = file;
        if (where.line > 0) error += ":" + std::to_string(where.line) + ":" + std::to_string(where.column);
        error += ": " + json_error_text(where);
        return false;
    }
    std::string why;
    json_t* saved = json_object_get(json, "format") ? json_object_get(json, "config") : nullptr;
    JsonRef tree = paths_open(saved ? saved : json.get(), why);
    JsonRef both(json_deep_copy(model.pristine));
    if (tree) json_object_update_recursive(both, tree);
    if (!tree || !tree_check(model, both, why)) {
        error = file + ": " + why;
        return false;
    }
    model.pristine = std::move(both);
    tree_apply(model, model.pristine, false, {});
    return true;
}

}  // namespace obxd
