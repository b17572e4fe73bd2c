#include "validate.hpp"

#include "store/keys.hpp"
#include "store/live.hpp"
#include "store/value_check.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

struct ValuesVisitor {
    Model& model;
    std::string& error;

    bool enter(const Place&, const std::string&) const { return error.empty(); }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string& path) const {
        if (place.is_method() || !error.empty()) return;
        std::string why;
        json_t* value = value_read(place.node, place.schema, &path);
        if (value_check(model, place.schema, place.node, value, why) != 0) error = path + ": " + why;
    }
};

}  // namespace

bool model_validate(Model& model, std::string& error) {
    error.clear();
    ValuesVisitor visitor{model, error};
    walk_all<Walk::VALUES>(visitor, place_top(model));
    return error.empty() && keys_fit(model, error);
}

}  // namespace obxd
