#include "load.hpp"

#include "store/apply.hpp"
#include "store/builder.hpp"
#include "store/load_json.hpp"

namespace obxd {

bool model_load(Model& model, const std::string& file, std::string& error) {
    json_error_t where;
    JsonRef json(json_load_file(file.c_str(), JSON_REJECT_DUPLICATES, &where));
    if (!json) {
        error = file;
        if (where.line > 0) error += ":" + std::to_string(where.line) + ":" + std::to_string(where.column);
        error += std::string(": ") + where.text;
        return false;
    }
    std::string why;
    json_t* values = json_object_get(json, "values");
    model.pristine.reset(values ? json_incref(values) : json_object());
    if (!schema_load_json(model, json, why) || !build_end(model, why) ||
        !tree_check(model, model.pristine, why)) {
        error = file + ": " + why;
        return false;
    }
    tree_apply(model, model.pristine, false, {});
    return true;
}

}  // namespace obxd
