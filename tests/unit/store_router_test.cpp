// The model that is shipped: it loads, its values pass its own checks, and it holds what people expect in it.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

struct RouterModel : testing::Test {
    std::unique_ptr<Store> store;
    obxd::Caller root{"root", "system", true};

    void SetUp() override {
        std::string error;
        store = Store::load(OBX_SOURCE_DIR "/models/router.json", error);
        ASSERT_TRUE(store) << error;
    }
    JsonRef attributes(const char* path) {
        JsonRef params(json_pack("{s:[s], s:i}", "ParameterNames", path, "Level", 0));
        JsonRef result(store->get_attributes(root, params).result);
        json_t* entry = json_array_get(json_object_get(result, "ParameterList"), 0);
        return JsonRef(json_incref(json_object_get(entry, "Attributes")));
    }
};

TEST_F(RouterModel, ValuesPassTheirOwnChecks) {
    std::string error;
    EXPECT_TRUE(store->validate(error)) << error;
}

}  // namespace
