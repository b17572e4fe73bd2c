// Published documents in XML: a model, or a reason with its place; and what was loaded can be read whole.
#include "fuzz.hpp"
#include "store/config.hpp"
#include "store/dump.hpp"
#include "store/load.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const std::string& file = file_of(input.rest());
    obxd::Model model;
    std::string error;
    bool fine = obxd::model_load(model, {file, {}, false}, error);
    REQUIRE(fine == error.empty());
    if (!fine) {
        REQUIRE(error.starts_with(file + ":"));
        return 0;
    }
    obxd::JsonRef dump(obxd::model_dump(model));
    obxd::JsonRef tree(obxd::config_tree(obxd::place_of(model.top.get()), obxd::RANK_SYSTEM, ""));
    REQUIRE(json_is_object(dump.get()) && json_is_object(tree.get()));
    return 0;
}
