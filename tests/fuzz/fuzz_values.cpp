// Files of values: they fit or change nothing; what they make of the model is the same once it was taken down
// and put back.
#include "fuzz.hpp"
#include "store/apply.hpp"
#include "store/config.hpp"
#include "store/load.hpp"
#include "store/snapshot.hpp"
#include "store/values_file.hpp"
#include "test_model.hpp"

namespace {

using obxd::JsonRef;

struct Tested {
    obxd::Model model;
    JsonRef pristine;
};

Tested& tested() {
    static Tested* const one = [] {
        auto* made = new Tested;
        std::string error;
        REQUIRE(obxd::model_load(made->model, {file_of(TEST_MODEL), {}, false}, error));
        made->pristine.reset(json_incref(made->model.pristine));
        return made;
    }();
    return *one;
}

void begin_anew(Tested& t) {
    t.model.pristine.reset(json_incref(t.pristine));
    obxd::tree_apply(t.model, t.pristine, false, {});
}

JsonRef config_of(obxd::Model& model) {
    return JsonRef(obxd::config_tree(obxd::place_of(model.top.get()), obxd::RANK_SYSTEM, ""));
}

/// Everything as trees, which are applied to a model in its first state.
void comes_back(Tested& t) {
    std::string error;
    JsonRef snapshot(obxd::snapshot_take(t.model)), values(obxd::values_take(t.model));
    JsonRef config = config_of(t.model);

    begin_anew(t);
    REQUIRE(obxd::snapshot_restore(t.model, snapshot, error));
    REQUIRE(json_equal(JsonRef(obxd::snapshot_take(t.model)), snapshot));

    for (const json_t* tree : {values.get(), config.get()}) {
        begin_anew(t);
        REQUIRE(obxd::tree_check(t.model, tree, error));
        obxd::tree_apply(t.model, tree, false, {});
        REQUIRE(json_equal(config_of(t.model), config));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Tested& t = tested();
    begin_anew(t);
    obxd::JsonRef before = config_of(t.model);
    std::string error;
    bool fine = obxd::values_load(t.model, file_of(input.rest()), error);
    REQUIRE(fine == error.empty());
    if (fine)
        comes_back(t);
    else
        REQUIRE(json_equal(config_of(t.model), before));
    return 0;
}
