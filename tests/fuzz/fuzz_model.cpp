// Model files: a model, or a reason; and what was loaded can be read whole.
#include "fuzz.hpp"
#include "store/config.hpp"
#include "store/load.hpp"
#include "store/place.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    obxd::Model model;
    std::string error;
    bool fine = obxd::model_load(model, {file_of(input.rest()), {}, false}, error);
    REQUIRE(fine == error.empty());
    if (!fine) return 0;
    json_t* tree = obxd::config_tree(obxd::place_of(model.top.get()), obxd::RANK_SYSTEM, ".");
    REQUIRE(json_is_object(tree));
    json_decref(tree);
    return 0;
}
