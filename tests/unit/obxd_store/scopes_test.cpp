// Paths that models write relative to where they stand.

#include "store/scopes.hpp"

#include <gtest/gtest.h>

#include "store/builder.hpp"
#include "store/load_json.hpp"
#include "store/place.hpp"
#include "store_fixture.hpp"

using namespace obxd;

namespace {

struct Scopes : testing::Test {
    Model model;
    void SetUp() override {
        obxd::JsonRef json(json_incref(json_of(R"({'schema':{'Device':{'IP':{'X':{'type':'string'}},
            'A':{'#attr':{'multi':true},'B':{'#attr':{'multi':true},'C':{'X':{'type':'string'}}}},
            'Run':{'type':'method','#input':{'X':{'type':'string'}}}}}})")
                                           .get()));
        std::string error;
        ASSERT_TRUE(schema_load_json(model, json, error) && build_end(model, error)) << error;
        Node* a = instance_new(model.top->objects[0]->objects[1].get(), 3);
        ASSERT_TRUE(instance_new(a->objects[0].get(), 5));
    }
    Place at(const char* path) {
        Place place;
        EXPECT_TRUE(place_find(model, path, place)) << path;
        return place;
    }
};

TEST_F(Scopes, Paths) {
    const struct {
        const char* path;
        const char* own;  ///< from Device.A.3.B.5.C.
        const char* any;  ///< from any such object
    } rows[] = {
        {"Device.IP.X", "Device.IP.X", "Device.IP.X"},
        {"Device.A.{i}.B.", "Device.A.#template.B", "Device.A.#template.B"},
        {"Device.A.*.B.#template.", "Device.A.#template.B.#template", "Device.A.#template.B.#template"},
        {".IP.", "Device.IP", "Device.IP"},
        {".A.{i}.B.{i}.", "Device.A.#template.B.#template", "Device.A.#template.B.#template"},
        {"X", "Device.A.3.B.5.C.X", "Device.A.#template.B.#template.C.X"},
        {"#", "Device.A.3.B.5", "Device.A.#template.B.#template"},
        {"#.C.X", "Device.A.3.B.5.C.X", "Device.A.#template.B.#template.C.X"},
        {"##.B.", "Device.A.3.B", "Device.A.#template.B"},
        {"##.B.{i}.C.", "Device.A.3.B.#template.C", "Device.A.#template.B.#template.C"},
        {"###.IP.", "Device.IP", "Device.IP"},
        {"####.Device.IP", "Device.IP", "Device.IP"},
        {"#########.Device", "Device", "Device"},
        {"", "Device.A.3.B.5.C", "Device.A.#template.B.#template.C"},
    };
    Place place = at("Device.A.3.B.5.C.");
    for (const auto& row : rows) {
        EXPECT_EQ(scope_path(place.schema, place.node, row.path), row.own) << row.path;
        EXPECT_EQ(scope_path(place.schema, nullptr, row.path), row.any) << row.path;
    }
    // Arguments stand below their method, which stands below the object that has values.
    Place device = at("Device.");
    const Schema* input = schema_child(device.schema, "Run")->input.get();
    EXPECT_EQ(scope_path(input, device.node, "#.A."), "Device.A");
    EXPECT_EQ(scope_path(input, device.node, "X"), "Device.Run.#input.X");
}

}  // namespace
