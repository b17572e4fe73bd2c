// Published documents in XML: a model, or a reason with its place; what was loaded can be read whole, and
// what is written of it is the same model again.
#include "fuzz.hpp"
#include "owners.hpp"
#include "store/config.hpp"
#include "store/dump.hpp"
#include "store/load.hpp"

namespace {

std::string dump_of(const obxd::Model& model) {
    obxd::JsonRef dump(obxd::model_dump(model));
    obxd::CharsRef text(json_dumps(dump.get(), JSON_REAL_PRECISION(15)));
    REQUIRE(text);
    return text.get();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const std::string& file = file_of(input.rest());
    obxd::Model model, again;
    std::string error;
    bool fine = obxd::model_load(model, {file, {}, false}, error);
    REQUIRE(fine == error.empty());
    if (!fine) {
        REQUIRE(error.starts_with(file + ":"));
        return 0;
    }
    obxd::JsonRef tree(obxd::config_tree(obxd::place_of(model.top.get()), obxd::RANK_SYSTEM, ""));
    REQUIRE(json_is_object(tree.get()));
    std::string dump = dump_of(model);
    REQUIRE(obxd::model_load(again, {file_of(dump), {}, false}, error));
    REQUIRE(dump_of(again) == dump);
    return 0;
}
