// Configurations as downloads and restore points bring them: put in force or refused with a reason, which
// changes nothing; the file of what is in force brings it back.
#include "device/config.hpp"
#include "fuzz.hpp"
#include "test_model.hpp"

namespace obxd {
namespace {

struct Tested {
    Loop loop;
    Users users;
    std::string error;
    std::unique_ptr<Store> store = Store::load(file_of(TEST_MODEL), error);
    Device device{loop, *store, users, {"model", state_directory(), 0, 0, {}}};

    Tested() { REQUIRE(store && loop_open(loop) == 0 && device_start(device, error)); }
};

Tested& tested() {
    static Tested* const one = new Tested;
    return *one;
}

JsonRef in_force(Tested& t) {
    return JsonRef(t.store->snapshot());
}

/// From another configuration than the one in the file.
void comes_back(Tested& t) {
    std::string error, text = config_text(t.device);
    JsonRef snapshot = in_force(t);
    t.store->reset_defaults({});
    REQUIRE(config_load(t.device, file_of(text), true, error));
    REQUIRE(json_equal(in_force(t), snapshot));
    REQUIRE(config_text(t.device) == text);
}

}  // namespace
}  // namespace obxd

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace obxd;
    Input input(data, size);
    Tested& t = tested();
    t.store->reset_defaults({});
    obxd::JsonRef before = in_force(t);
    std::string error;
    bool fine = config_load(t.device, file_of(input.rest()), true, error);
    REQUIRE(fine == error.empty());
    if (!fine) {
        REQUIRE(json_equal(in_force(t), before));
        return 0;
    }
    comes_back(t);
    return 0;
}
