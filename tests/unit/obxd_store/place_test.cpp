// The steps from place to place, and what a walk comes by, on a schema that is built without a file.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/builder.hpp"
#include "store/pattern.hpp"
#include "store/walk.hpp"

using namespace obxd;

namespace {

struct PlaceTest : testing::Test {
    Model model;
    Shapes shapes;
    std::string why;

    Schema* child(Schema* parent, const char* name) {
        Schema* schema = build_child(parent, name, why);
        EXPECT_TRUE(schema) << why;
        return schema;
    }
    Schema* object(Schema* parent, const char* name, bool multi) {
        Schema* schema = child(parent, name);
        Facts facts;
        facts.multi = facts.ordered = facts.writable = multi;
        EXPECT_TRUE(build_object(schema, facts, why)) << why;
        return schema;
    }
    void parameter(Schema* parent, const char* name, Facts facts = {}) {
        Schema* schema = child(parent, name);
        EXPECT_TRUE(build_parameter(schema, facts, "string", Limits(), shapes, why)) << why;
    }

    /// Device.{Name, Row.{i}.{Text, Cell.{i}.Text}, Run(#input.Text)}, rows 1 and 3, a cell 2 in row 3.
    void SetUp() override {
        EXPECT_TRUE(build_object(&model.root, {}, why));
        Schema* device = object(&model.root, "Device", false);
        parameter(device, "Name");
        Schema* row = object(device, "Row", true);
        parameter(row, "Text");
        Schema* cell = object(row, "Cell", true);
        parameter(cell, "Text");
        Schema* run = child(device, "Run");
        build_method(run, {});
        auto input = build_arguments(run, "#input");
        EXPECT_TRUE(build_object(input.get(), {}, why));
        parameter(input.get(), "Text");
        EXPECT_TRUE(build_object_end(input.get(), why)) << why;
        build_input_end(run, std::move(input));
        for (Schema* each : {cell, row, device, &model.root}) EXPECT_TRUE(build_object_end(each, why)) << why;
        ASSERT_TRUE(build_end(model, why)) << why;
        Node* rows = model.top->objects[0]->objects[0].get();
        instance_new(rows, 1);
        instance_new(instance_new(rows, 3)->objects[0].get(), 2);
    }

    std::string found(const char* path) {
        std::string text;
        if (!places_each(place_top(model), path,
                         [&](const Place&, const std::string& at) { text += at + " "; }))
            return "none";
        return text;
    }
};

struct Listing {
    std::string text;
    bool enter(const Place& place, const std::string& path) {
        text += path + " ";
        EXPECT_TRUE(path.ends_with(PlaceName(place).text() + std::string(".")) || place.is_method()) << path;
        return true;
    }
    void leave(const Place&) { text += "< "; }
    void leaf(const Place& place, const std::string& path) {
        text += path + " ";
        EXPECT_TRUE(path.ends_with(PlaceName(place).text())) << path;
    }
};

TEST_F(PlaceTest, WhatExists) {
    const struct {
        const char* path;
        bool exists;
    } rows[] = {
        {".", true},
        {"Device", true},
        {"Device.", true},
        {"Device.Name", true},
        {"Device.Name.", false},
        {"Device.Name.Text", false},
        {"Device.Row.1.Text", true},
        {"Device.Row.2.Text", false},
        {"Device.Row.01.Text", false},
        {"Device.Row.3.Cell.2.Text", true},
        {"Device.Row.max_instance", true},
        {"Device.Row.1.order", true},
        {"Device.Row.1.index", true},
        {"Device.Row.1.order.", false},
        {"Device.Row.#template.Text", false},
        {"Device.Row.*.Text", false},
        {"Device.Run", true},
        {"Device.Run.#input.Text", false},
        {"", false},
        {"..", false},
        {".Device", false},
        {"Device..Name", false},
        {"Device..", false},
    };
    for (const auto& row : rows) {
        Place place;
        EXPECT_EQ(place_find(model, row.path, place), row.exists) << row.path;
    }
}

TEST_F(PlaceTest, TheSchemaIsKnownWithoutInstances) {
    for (const char* path : {"Device.Row.#template.Cell.#template.Text", "Device.Run.#input.Text",
                             "Device.Row.#template.Cell.9.Text", "Device.Row.#template.order"}) {
        Place place = place_top(model);
        EXPECT_TRUE(place_follow(place, path)) << path;
        EXPECT_TRUE(place.is_parameter()) << path;
        EXPECT_FALSE(place.node) << path;
    }
    Place place = place_top(model);
    EXPECT_FALSE(place_follow(place, "Device.Row.9.Text"));
    EXPECT_EQ(place.node, model.top.get());
    place = place_of_schema(&model.root);
    EXPECT_TRUE(place_follow(place, "Device.Row.9.Text"));
}

TEST_F(PlaceTest, WildcardsStandForEveryInstance) {
    EXPECT_EQ(found("Device.Row.*.Text"), "Device.Row.1.Text Device.Row.3.Text ");
    EXPECT_EQ(found("Device.Row.#template."), "Device.Row.1. Device.Row.3. ");
    EXPECT_EQ(found("Device.Row.*.Cell.*.Text"), "Device.Row.3.Cell.2.Text ");
    EXPECT_EQ(found("Device.Row.1.Cell.*.Text"), "");
    EXPECT_EQ(found("Device.Row.1.Cell.*.Test"), "none");
    EXPECT_EQ(found("Device.Row.1.Cell.*.Text."), "none");
    EXPECT_EQ(found("Device.*.Text"), "none");
    EXPECT_EQ(found("."), " ");
}

TEST_F(PlaceTest, WalkOfValues) {
    Listing listing;
    walk_all<Walk::VALUES>(listing, place_top(model));
    EXPECT_EQ(listing.text,
              "Device. Device.Name Device.Row. Device.Row.1. Device.Row.1.Text Device.Row.1.Cell. < < "
              "Device.Row.3. Device.Row.3.Text Device.Row.3.Cell. Device.Row.3.Cell.2. "
              "Device.Row.3.Cell.2.Text < < < < Device.Run < ");
}

TEST_F(PlaceTest, WalkOfTheSchema) {
    Place row = place_of_schema(&model.root);
    ASSERT_TRUE(place_follow(row, "Device.Row"));
    Listing rows;
    walk<Walk::SCHEMA>(rows, row, "R.");
    EXPECT_EQ(rows.text,
              "R.#template. R.#template.Text R.#template.Cell. R.#template.Cell.#template. "
              "R.#template.Cell.#template.Text R.#template.Cell.#template.order "
              "R.#template.Cell.#template.index < R.#template.Cell.max_instance < R.#template.order "
              "R.#template.index < R.max_instance ");
    Place run = place_of_schema(&model.root);
    ASSERT_TRUE(place_follow(run, "Device.Run"));
    Listing arguments;
    walk<Walk::SCHEMA>(arguments, run, "Run");
    EXPECT_EQ(arguments.text, "Run.#input. Run.#input.Text < ");
}

TEST_F(PlaceTest, TheBuilderRefuses) {
    Schema* device = schema_child(&model.root, "Device");
    for (const char* name : {"", "a.b", "a b", "#x", "*", "7", "max_instance", "Name"})
        EXPECT_FALSE(build_child(device, name, why)) << name;
    EXPECT_EQ(why, "\"Name\" stands twice");
    EXPECT_FALSE(build_key(device, {"Row"}, false, why));
    EXPECT_EQ(why, "\"keys\" names no parameter: Row");
    Facts facts;
    facts.ordered = true;
    EXPECT_FALSE(build_object(child(device, "Other"), facts, why));
    EXPECT_EQ(schema_path(device), "Device");
    EXPECT_EQ(schema_path(&model.root), ".");
}

TEST(Pattern, LaidOnAPath) {
    const struct {
        const char *pattern, *path;
        bool fits, matches;
    } rows[] = {
        {"A.*.B", "A.3.B", true, true},   {"A.#template.B", "A.3.B", true, true},
        {"A.*.B", "A.x.B", false, false}, {"A.*.B", "A.3", true, false},
        {"A.*", "A.3.B", true, false},    {"A.B", "A.C", false, false},
        {"A.B.", "A.B", true, true},      {"A.*", "A.0", false, false},
    };
    for (const auto& row : rows) {
        size_t pattern_left, path_left;
        EXPECT_EQ(pattern_fits(row.pattern, row.path, pattern_left, path_left), row.fits) << row.pattern;
        EXPECT_EQ(pattern_matches(row.pattern, row.path), row.matches) << row.pattern;
    }
    size_t pattern_left, path_left;
    ASSERT_TRUE(pattern_fits("A.*", "A.3.B.C", pattern_left, path_left));
    EXPECT_EQ(pattern_left, 0u);
    EXPECT_EQ(path_left, 2u);
}

}  // namespace
