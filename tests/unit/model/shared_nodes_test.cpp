// Trees and instances as they are put together from elements, and the nodes that they share.
#include <gtest/gtest.h>

#include <string>

#include "model/instance_fold.hpp"
#include "model/node_tree.hpp"
#include "model/shared.hpp"

namespace {

JsonRef json_of(const char* text) {
    return JsonRef(json_loads(text, 0, nullptr));
}

/// A tree as if nothing were shared.
void strip(json_t* node) {
    json_object_del(node, "#shared");
    const char* key;
    json_t* member;
    json_object_foreach(node, key, member) strip(member);
}

bool looks_like(json_t* node, const char* expected) {
    JsonRef copy(json_deep_copy(node));
    strip(copy);
    JsonRef wanted(json_of(expected));
    EXPECT_NE(wanted.get(), nullptr) << expected;
    bool equal = json_equal(copy, wanted);
    if (!equal) ADD_FAILURE() << CharsRef(json_dumps(copy, JSON_COMPACT)).get() << " is not " << expected;
    return equal;
}

class Shared : public testing::Test {
protected:
    JsonRef object = json_of(R"({"type":"object"})");
    JsonRef text = json_of(R"({"type":"string"})");
    JsonRef number = json_of(R"({"type":"int"})");
    void TearDown() override { shared_leaves_clear(); }
    static void take(const ox_list_taker& taker, const char* name, json_t* attributes) {
        ox_list_element element = {};
        element.name = name;
        element.name_length = strlen(name);
        element.type = -1;
        element.attributes = attributes;
        element.arrived = 1000;
        taker.take(taker.context, &element);
    }
    void take_host(const ox_list_taker& taker, const std::string& number_text, json_t* address) {
        std::string host = "Device.Host." + number_text + ".";
        take(taker, host.c_str(), object);
        take(taker, (host + "Name").c_str(), text);
        take(taker, (host + "Address.").c_str(), object);
        take(taker, (host + "Address.IP").c_str(), address);
    }
};

TEST_F(Shared, ATreeGrowsByNames) {
    NodeTree tree("Device.");
    node_tree_add(&tree, "Device.", object, 0);
    node_tree_add(&tree, "Device.A", text, 0);
    node_tree_add(&tree, "Device.B.", object, 0);
    node_tree_add(&tree, "Device.B.C", text, 0);
    node_tree_add(&tree, "Device..B.D.E.", nullptr, 0);
    node_tree_add(&tree, "Device.A.F", number, 0);
    node_tree_add(&tree, "Device.B", text, 0);  // again, as something else
    for (const char* name : {"Other.A", "Dev", "Device.#attr.A", "Device.B.#fetched", "Device.#shared"})
        node_tree_add(&tree, name, text, 0);
    looks_like(tree.root, R"({"#attr":{"type":"object"},
        "A":{"#attr":{"type":"string"},"F":{"#attr":{"type":"int"}}},
        "B":{"#attr":{"type":"string"},"C":{"#attr":{"type":"string"}},"D":{"E":{}}}})");
}

TEST_F(Shared, ParametersWithEqualAttributesAreOneNode) {
    NodeTree tree(nullptr);
    node_tree_add(&tree, "A", text, 0);
    node_tree_add(&tree, "B.C", text, 0);
    json_t* a = json_object_get(tree.root, "A");
    EXPECT_EQ(a, json_object_get(json_object_get(tree.root, "B"), "C"));
    EXPECT_TRUE(node_is_shared(a));
    json_t* own = node_own_member(tree.root, "A");
    EXPECT_NE(own, a);
    EXPECT_FALSE(node_is_shared(own));
    EXPECT_EQ(node_own_member(tree.root, "A"), own);
    EXPECT_EQ(node_own_member(tree.root, "X"), nullptr);
}

TEST_F(Shared, ATreeIsBounded) {
    NodeTree tree(nullptr);
    for (int i = 0; i < 1000000 && !tree.full; ++i) node_tree_add(&tree, std::to_string(i).c_str(), text, 0);
    EXPECT_TRUE(tree.full);
    node_tree_clear(&tree);
    EXPECT_FALSE(tree.full);
}

TEST_F(Shared, EqualInstancesAreOneNode) {
    InstanceFold fold("Device.Host.");
    ox_list_taker taker = instance_fold_taker(&fold);
    for (const char* host : {"1", "2", "3", "4"}) take_host(taker, host, *host == '3' ? number : text);
    JsonRef instances(instance_fold_take(&fold));
    looks_like(instances, R"({
        "1":{"#fetched":true,"#attr":{"type":"object"},"Name":{"#attr":{"type":"string"}},
             "Address":{"#attr":{"type":"object"},"IP":{"#attr":{"type":"string"}}}},
        "2":{"#fetched":true,"#attr":{"type":"object"},"Name":{"#attr":{"type":"string"}},
             "Address":{"#attr":{"type":"object"},"IP":{"#attr":{"type":"string"}}}},
        "3":{"#fetched":true,"#attr":{"type":"object"},"Name":{"#attr":{"type":"string"}},
             "Address":{"#attr":{"type":"object"},"IP":{"#attr":{"type":"int"}}}},
        "4":{"#fetched":true,"#attr":{"type":"object"},"Name":{"#attr":{"type":"string"}},
             "Address":{"#attr":{"type":"object"},"IP":{"#attr":{"type":"string"}}}}})");
    EXPECT_EQ(json_object_get(instances, "1"), json_object_get(instances, "2"));
    EXPECT_EQ(json_object_get(instances, "1"), json_object_get(instances, "4"));
    EXPECT_NE(json_object_get(instances, "1"), json_object_get(instances, "3"));
    EXPECT_TRUE(node_is_shared(json_object_get(json_object_get(instances, "1"), "Address")));
    EXPECT_FALSE(node_is_shared(json_object_get(instances, "3")));
    // What is changed below one of them changes for that one alone.
    json_t* own = node_own_member(instances, "2");
    json_object_set_new(node_own_member(own, "Address"), "Extra", json_object());
    EXPECT_EQ(json_object_get(json_object_get(json_object_get(instances, "1"), "Address"), "Extra"), nullptr);
}

TEST_F(Shared, InstancesInAnyOrderAreWhole) {
    InstanceFold fold("Device.Host.");
    ox_list_taker taker = instance_fold_taker(&fold);
    for (const char* name : {"Name", "Other"}) {
        for (const char* host : {"1", "2", "3"})
            take(taker, (std::string("Device.Host.") + host + "." + name).c_str(), text);
    }
    take(taker, "Device.Host.4.Name", text);
    take(taker, "Device.Host.#template.Name", text);
    take(taker, "Device.Host.", text);
    take(taker, "Device.Other.5.Name", text);
    JsonRef instances(instance_fold_take(&fold));
    std::string both =
        R"({"#fetched":true,"Name":{"#attr":{"type":"string"}},"Other":{"#attr":{"type":"string"}}})";
    looks_like(instances, ("{\"1\":" + both + ",\"2\":" + both + ",\"3\":" + both +
                           R"(,"4":{"#fetched":true,"Name":{"#attr":{"type":"string"}}}})")
                              .c_str());
}

TEST_F(Shared, WhatABeginVoidsIsGone) {
    InstanceFold fold("Device.Host.");
    ox_list_taker taker = instance_fold_taker(&fold);
    take_host(taker, "1", text);
    take_host(taker, "2", text);
    taker.begin(taker.context);
    take_host(taker, "3", text);
    JsonRef instances(instance_fold_take(&fold));
    EXPECT_EQ(json_object_size(instances), 1U);
    EXPECT_NE(json_object_get(instances, "3"), nullptr);
    JsonRef nothing(instance_fold_take(&fold));
    EXPECT_EQ(json_object_size(nothing), 0U);
}

}  // namespace
