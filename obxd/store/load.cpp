// Loading a model file.

#include <string.h>

#include "impl.hpp"

namespace obxd {

static json_t* pseudo_attrs(const char* access, const char* perms) {
    json_t* attrs = json_pack("{s:s, s:s, s:s}", "type", "unsignedInt", "access", access, "perms", perms);
    if (strcmp(access, "readOnly") == 0)
        json_object_set_new(attrs, "const", json_true());
    else
        json_object_set_new(attrs, "default", json_integer(1));
    json_object_set_new(attrs, "runtime", json_true());
    return attrs;
}

/// Gathers the references that a delete has to look at, and checks every default against its own bounds.
static bool schema_walk(Impl& impl, Schema* schema, const std::string& path, std::string& error) {
    for (auto& child : schema->children) {
        std::string name = path + child->name;
        if (child->kind == Schema::PARAMETER) {
            if (!child->argument) reference_note(impl, child.get());
            std::string why;
            if (child->has_default && value_check(impl, child.get(), nullptr, child->initial, why) != 0) {
                error = name;
                error += ": the default " + why;
                return false;
            }
            child->initial.reset(value_normal(child.get(), child->initial));
        }
        if (child->input && !schema_walk(impl, child->input.get(), name + ".#input.", error)) return false;
        if (!schema_walk(impl, child.get(), name + ".", error)) return false;
    }
    return true;
}

std::unique_ptr<Store> Store::load(const std::string& model_file, std::string& error) {
    json_error_t where;
    JsonRef model(json_load_file(model_file.c_str(), JSON_REJECT_DUPLICATES, &where));
    if (!model) {
        error = model_file;
        if (where.line > 0) error += ":" + std::to_string(where.line) + ":" + std::to_string(where.column);
        error += std::string(": ") + where.text;
        return nullptr;
    }
    std::unique_ptr<Store> store(new Store);
    Impl& impl = *store->impl_;
    std::string why;
    bool fine = schema_load(&impl.root, model, why) && schema_walk(impl, &impl.root, "", why);
    if (fine) {
        impl.top = node_new(&impl.root, nullptr, false);
        impl.pristine.reset(json_incref(json_object_get(model, "values")));
        if (!impl.pristine) impl.pristine.reset(json_object());
        fine = tree_check(impl, impl.pristine, why);
    }
    if (!fine) {
        error = model_file + ": " + why;
        return nullptr;
    }
    tree_apply(impl, impl.pristine, false, {});
    impl.max_attrs.reset(pseudo_attrs("readOnly", "user/-"));
    impl.order_attrs.reset(pseudo_attrs("readOnly", "user/-"));
    impl.index_attrs.reset(pseudo_attrs("readWrite", "user/admin"));
    return store;
}

}  // namespace obxd
