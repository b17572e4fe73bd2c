// The cache of node metadata: what is fetched when, how answers are folded in, and hostile answers.
#include "model/cache.hpp"

#include <gtest/gtest.h>

#include "cpu_time.hpp"
#include "model/candidates.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/node_fetch.hpp"
#include "model/resolve.hpp"
#include "model_daemon.hpp"
#include "ox_confapi.hpp"
#include "ox_raii.hpp"
#include "session/prompt.hpp"

namespace {

using Texts = std::vector<std::string>;

class Metadata : public testing::Test {
protected:
    ModelDaemon daemon;
    void SetUp() override {
        small_router(daemon);
        ASSERT_NE(dm_reload(), nullptr);
    }
    void TearDown() override {
        path_free(&current_path);
        path_free(&previous_path);
        current_path = {};
        previous_path = {};
        dm_free();
    }
    static Texts candidates(const char* path, const char* text, int flags) {
        ScopedPath p;
        EXPECT_EQ(path_resolve(&p, path), 0) << path;
        JsonRef list(node_candidates(&p, text, flags));
        Texts out;
        size_t index;
        json_t* item;
        json_array_foreach(list, index, item) out.push_back(json_string_value(item));
        return out;
    }
    static json_t* node(const char* path) {
        ScopedPath p;
        return path_resolve(&p, path) == 0 ? p.node : nullptr;
    }
};

TEST_F(Metadata, ReloadFetchesTheRootAlone) {
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes . 1"}));
    EXPECT_EQ(candidates("", nullptr, 0), Texts({"Device"}));
    EXPECT_EQ(json_object_get(dm_root, "DataModelVersion"), nullptr);
    EXPECT_TRUE(daemon.take_requests().empty());
    EXPECT_EQ(current_path.node, dm_root);
}

TEST_F(Metadata, EachNodeIsFetchedOnce) {
    daemon.take_requests();
    EXPECT_NE(node("device.hosts"), nullptr);
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device. 1"}));
    EXPECT_NE(node("Device.Hosts"), nullptr);
    EXPECT_EQ(node("Device.Nothing"), nullptr);
    EXPECT_TRUE(daemon.take_requests().empty());
}

TEST_F(Metadata, InstancesComeWithAllBelowThem) {
    node("Device.Hosts.Host");
    daemon.take_requests();
    EXPECT_NE(node("Device.Hosts.Host.2.IPAddress"), nullptr);
    EXPECT_EQ(daemon.take_requests(),
              Texts({"GetParameterAttributes Device.Hosts.Host. 1", "GetParameterNames Device.Hosts.Host.",
                     "GetParameterAttributes Device.Hosts.Host.1. Device.Hosts.Host.2. -1"}));
    EXPECT_TRUE(json_is_true(json_object_get(node("Device.Hosts.Host.2"), "#fetched")));
    EXPECT_EQ(candidates("Device.Hosts.Host.2", nullptr, 0), Texts({"IPAddress"}));
    EXPECT_TRUE(daemon.take_requests().empty());
    // A number that the cache does not hold may be new.
    EXPECT_NE(node("Device.Hosts.Host.3"), nullptr);
    EXPECT_EQ(daemon.take_requests().size(), 3u);
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    EXPECT_NE(node("Device.Hosts.Host.3"), json_object_get(node("Device.Hosts.Host"), "#template"));
    EXPECT_EQ(json_object_get(node("Device.Hosts.Host.3"), "#info"), nullptr);
}

TEST_F(Metadata, AnInstanceThatIsNotThereIsAskedForOnce) {
    node("Device.Hosts.Host");
    daemon.take_requests();
    EXPECT_NE(node("Device.Hosts.Host.99"), nullptr);
    EXPECT_EQ(daemon.take_requests().size(), 3u);
}

TEST_F(Metadata, AnObjectWithoutInstancesTakesThreeRequestsToo) {
    daemon.remove("Device.Hosts.Host.1.");
    daemon.remove("Device.Hosts.Host.2.");
    node("Device.Hosts.Host");
    daemon.take_requests();
    EXPECT_EQ(candidates("Device.Hosts.Host", nullptr, 0), Texts({"max_instance"}));
    EXPECT_EQ(daemon.take_requests(),
              Texts({"GetParameterAttributes Device.Hosts.Host. 1", "GetParameterNames Device.Hosts.Host.",
                     "GetParameterAttributes -1"}));
}

TEST_F(Metadata, AnUnknownInstanceShowsItsTemplate) {
    EXPECT_EQ(candidates("Device.Hosts.Host.99", nullptr, 0), Texts({"IPAddress"}));
    EXPECT_EQ(candidates("Device.Hosts.Host.*", nullptr, 0), Texts({"IPAddress"}));
    EXPECT_TRUE(node_is_parameter(node("Device.Hosts.Host.77.IPAddress")));
}

TEST_F(Metadata, AStarAsksForTheTemplateAlone) {
    node("Device.Hosts.Host");
    daemon.take_requests();
    EXPECT_TRUE(node_is_parameter(node("Device.Hosts.Host.*.IPAddress")));
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts.Host.#template. 1"}));
    EXPECT_EQ(candidates("Device.Hosts.Host.*", nullptr, 0), Texts({"IPAddress"}));
    EXPECT_EQ(node("Device.Hosts.Host.*.Nothing"), nullptr);
    EXPECT_TRUE(daemon.take_requests().empty());
    // Whoever needs the instances still gets them.
    EXPECT_EQ(candidates("Device.Hosts.Host", nullptr, 0), Texts({"max_instance", "1", "2"}));
    EXPECT_EQ(daemon.take_requests().size(), 3u);
    node("Device.Firewall.Rule.*");
    daemon.take_requests();
    EXPECT_NE(node("Device.Firewall.Rule.1.Enable"), nullptr);
    EXPECT_EQ(daemon.take_requests().size(), 3u);
    EXPECT_EQ(node("Device.DeviceInfo.*"), nullptr);  // where there are no instances, there is no template
}

TEST_F(Metadata, WhatIsFetchedBelowOneInstanceIsItsOwn) {
    for (const char* host : {"Device.Hosts.Host.1.", "Device.Hosts.Host.2."}) {
        std::string sub = std::string(host) + "Sub.";
        daemon.add(sub, R"({"type":"object","multi":true})");
        daemon.add(sub + "#template.", R"({"type":"object"})");
        daemon.add(sub + "1.", R"({"type":"object"})");
    }
    json_t* one = node("Device.Hosts.Host.1.Sub");
    EXPECT_EQ(one, node("Device.Hosts.Host.2.Sub"));
    daemon.add("Device.Hosts.Host.2.Sub.2.", R"({"type":"object"})");
    EXPECT_EQ(candidates("Device.Hosts.Host.2.Sub", nullptr, 0), Texts({"1", "2"}));
    json_t* two = node("Device.Hosts.Host.2.Sub");
    EXPECT_NE(json_object_get(two, "2"), nullptr);
    one = node("Device.Hosts.Host.1.Sub");
    EXPECT_NE(one, two);
    EXPECT_EQ(json_object_get(one, "2"), nullptr);
    EXPECT_NE(json_object_get(one, "1"), nullptr);
}

TEST_F(Metadata, ALongListOfInstancesIsAskedForInParts) {
    for (int i = 3; i <= 2500; ++i) {
        std::string host = "Device.Hosts.Host." + std::to_string(i) + ".";
        daemon.add(host, R"({"type":"object","access":"readOnly"})");
        daemon.add(host + "IPAddress", R"({"type":"string","access":"readOnly","default":""})");
    }
    daemon.take_requests();
    EXPECT_EQ(candidates("Device.Hosts.Host", nullptr, 0).size(), 2501u);
    EXPECT_GT(daemon.take_requests().size(), 3u);
    EXPECT_EQ(node("Device.Hosts.Host.3"), node("Device.Hosts.Host.2500"));
    EXPECT_EQ(candidates("Device.Hosts.Host.2500", nullptr, 0), Texts({"IPAddress"}));
}

TEST_F(Metadata, OrderIsListedWhereTheNodeIsOrdered) {
    EXPECT_EQ(candidates("Device.Firewall.Rule", nullptr, 0), Texts({"1", "order"}));
    json_t* order = json_object_get(node("Device.Firewall.Rule"), "order");
    EXPECT_EQ(json_object_size(order), 1u);
    EXPECT_TRUE(json_is_true(json_object_get(order, "#fetched")));
    EXPECT_EQ(candidates("Device.Hosts.Host", nullptr, 0), Texts({"max_instance", "1", "2"}));
}

TEST_F(Metadata, Candidates) {
    const char* info = "Device.DeviceInfo";
    struct {
        const char* path;
        const char* text;
        int flags;
        Texts expected;
    } rows[] = {
        {"Device", nullptr, 0, {"DeviceInfo", "Hosts", "Firewall", "Ping"}},
        {"Device", nullptr, CANDIDATES_DOT, {"DeviceInfo.", "Hosts.", "Firewall.", "Ping."}},
        {"Device", nullptr, CANDIDATES_ABSOLUTE, {":DeviceInfo", ":Hosts", ":Firewall", ":Ping"}},
        {"Device",
         "Base.Path",
         0,
         {"Base.Path.DeviceInfo", "Base.Path.Hosts", "Base.Path.Firewall", "Base.Path.Ping"}},
        {"Device", "d", CANDIDATES_PREFIX | CANDIDATES_DOT, {"DeviceInfo."}},
        {"Device", "DEV", CANDIDATES_PREFIX | CANDIDATES_ABSOLUTE, {":DeviceInfo"}},
        {"Device", "x", CANDIDATES_PREFIX, {}},
        {"Device", nullptr, CANDIDATES_PREFIX, {"DeviceInfo", "Hosts", "Firewall", "Ping"}},
        {info, "u", CANDIDATES_PREFIX, {"UpTime"}},
        {info, nullptr, CANDIDATES_OBJECTS, {}},
        {info,
         nullptr,
         CANDIDATES_WRITABLE,
         {"ProvisioningCode", "DeviceMode", "Level", "Enable", "Flag", "Ref"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(candidates(row.path, row.text, row.flags), row.expected) << row.path << " " << row.flags;
    }
}

TEST_F(Metadata, AKeyThatEndsInADotGetsNoSecondOne) {
    json_object_set_new(node("Device.Hosts"), "Odd.", json_object());
    json_object_set_new(node("Device.Hosts"), "#fetched", json_true());
    Texts found = candidates("Device.Hosts", "O", CANDIDATES_PREFIX | CANDIDATES_DOT);
    EXPECT_EQ(found, Texts({"Odd."}));
}

TEST_F(Metadata, WhenANodeIsFetched) {
    struct {
        const char* json;
        bool needs;
    } rows[] = {{"{}", true},
                {R"({"#attr":{}})", true},
                {R"({"#attr":{},"#fetched":true})", false},
                {R"({"#attr":{},"Child":{}})", false},
                {R"({"Child":{}})", false},
                {R"({"#fetched":true,"#lost":true,"Child":{}})", true}};
    for (const auto& row : rows) {
        JsonRef value(json_loads(row.json, 0, nullptr));
        EXPECT_EQ(node_needs_fetch(value), row.needs) << row.json;
    }
    EXPECT_TRUE(node_needs_fetch(nullptr));
    // Children without the mark: listing asks for them, looking one up does not.
    json_t* hosts = node("Device.Hosts");
    json_object_set_new(hosts, "Made", json_object());
    daemon.take_requests();
    EXPECT_NE(node("Device.Hosts.Made"), nullptr);
    EXPECT_TRUE(daemon.take_requests().empty());
    EXPECT_EQ(candidates("Device.Hosts", nullptr, 0), Texts({"Host"}));
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts. 1"}));
}

TEST_F(Metadata, ANodeWithoutAPlaceIsMade) {
    NodePath p = {};
    node_fetch(&p);
    EXPECT_TRUE(json_is_true(json_object_get(p.node, "#fetched")));
    EXPECT_NE(json_object_get(p.node, "Device"), nullptr);
    path_free(&p);
}

TEST_F(Metadata, AFailedAnswerLeavesNoChildren) {
    node("Device.Hosts");
    daemon.failing = true;
    EXPECT_EQ(node("Device.Hosts.Host"), nullptr);
    daemon.take_requests();
    daemon.failing = false;
    EXPECT_EQ(node("Device.Hosts.Host"), nullptr);
    EXPECT_TRUE(candidates("Device.Hosts", nullptr, 0).empty());
    EXPECT_TRUE(daemon.take_requests().empty());
    dm_reload();
    EXPECT_NE(node("Device.Hosts.Host"), nullptr);
}

TEST_F(Metadata, AFailedFetchOfAParameterKeepsItAParameter) {
    EXPECT_EQ(node("Device.DeviceInfo.UpTime.Nothing"), nullptr);
    daemon.failing = true;
    EXPECT_EQ(node("Device.DeviceInfo.Level.Nothing"), nullptr);
    daemon.failing = false;
    EXPECT_TRUE(node_is_parameter(node("Device.DeviceInfo.Level")));
}

TEST_F(Metadata, ADaemonThatIsNotReachedIsAskedAgain) {
    node("Device.Hosts.Host");
    candidates("Device.Hosts.Host", nullptr, 0);
    daemon.die();
    EXPECT_EQ(node("Device.DeviceInfo.UpTime"), nullptr);
    EXPECT_TRUE(json_is_true(json_object_get(node("Device.DeviceInfo"), "#fetched")));
    EXPECT_TRUE(node_needs_fetch(node("Device.DeviceInfo")));
    EXPECT_NE(node("Device.Hosts.Host.9"), nullptr);
    EXPECT_EQ(candidates("Device.Hosts.Host", nullptr, 0), Texts({"max_instance", "1", "2"}));
    ModelDaemon second;
    small_router(second);
    EXPECT_NE(node("Device.DeviceInfo.UpTime"), nullptr);
    EXPECT_FALSE(node_needs_fetch(node("Device.DeviceInfo")));
}

TEST_F(Metadata, ObjectTrees) {
    struct {
        const char* json;
        bool expected;
    } rows[] = {{"{}", true},          {R"({"a":{},"b":{"c":{}}})", true},
                {R"({"a":1})", false}, {R"({"a":{"b":[]}})", false},
                {"[]", false},         {"1", false},
                {"null", false}};
    for (const auto& row : rows) {
        JsonRef value(json_loads(row.json, JSON_DECODE_ANY, nullptr));
        EXPECT_EQ(json_is_object_tree(value), row.expected) << row.json;
    }
    EXPECT_FALSE(json_is_object_tree(nullptr));
}

TEST_F(Metadata, Schemas) {
    ox_confapi_set_ctx(request_channel);
    daemon.has_schema = true;
    const char* rows[][2] = {
        {"Device.Hosts", "GetDataModel Device.Hosts -1"},
        {"Device.Hosts.Host.*.IPAddress", "GetDataModel Device.Hosts.Host. -1"},
        {"Device.Hosts.Host.[A==1].{B,C}", "GetDataModel Device.Hosts.Host. -1"},
        {"Device.{Hosts,DeviceInfo}.*", "GetDataModel Device. -1"},
        {"", "GetDataModel . -1"},
        {"*", "GetDataModel . -1"},
    };
    for (const auto& row : rows) {
        daemon.take_requests();
        JsonRef schema(dm_schema_get(row[0]));
        EXPECT_NE(json_object_get(schema, "Device"), nullptr) << row[0];
        EXPECT_EQ(daemon.take_requests(), Texts({row[1]}));
    }
    daemon.has_schema = false;
    EXPECT_EQ(dm_schema_get("Device"), nullptr);
    daemon.failing = true;
    ox_confapi_ignore_next_error_exec(1);
    EXPECT_EQ(dm_schema_get("Device"), nullptr);
    ox_confapi_set_ctx(nullptr);
}

TEST_F(Metadata, HostileAnswers) {
    std::string deep = R"([{"Name":"Device.)";
    for (int i = 0; i < 300000; ++i) deep += "a.";
    deep += R"(","Attributes":{}}])";
    std::string nested = std::string(1000, '[') + std::string(1000, ']');
    const std::string lists[] = {
        "null",
        "7",
        R"("text")",
        "{}",
        "[]",
        "[1,null,[],{}]",
        R"([{"Name":7},{"Attributes":{}}])",
        R"([{"Name":"","Attributes":{}},{"Name":".","Attributes":[]},{"Name":"...","Attributes":"x"}])",
        R"([{"Name":"Device.#attr.type.x","Attributes":{"type":{}}},{"Name":"Device.#fetched"}])",
        R"([{"Name":"Device.#lost","Attributes":{}},{"Name":"#attr"},{"Name":"#info.#info"}])",
        R"([{"Name":"Device.Hosts.","Attributes":{"multi":true,"ordered":true,"type":["a"]}}])",
        R"([{"Name":"Device.\u0000x"},{"Name":"Device.\u001b[2J."},{"Name":"\u00e4.\u00e4"}])",
        R"([{"Name":"Device.99999999999999999999.","Attributes":{"multi":1}}])",
        deep,
        nested,
    };
    for (const std::string& list : lists) {
        daemon.raw_list = list;
        dm_reload();
        for (const char* path :
             {"Device.Hosts.Host.1", "Device.#x", "a.b.c", "Device.99999999999999999999.1", "*"}) {
            ScopedPath p;
            path_resolve(&p, path);
            JsonRef found(node_candidates(&p, nullptr, CANDIDATES_DOT | CANDIDATES_WRITABLE));
            EXPECT_TRUE(json_is_array(found));
        }
        paths_refresh();
    }
    daemon.raw_list.clear();
    dm_reload();
    EXPECT_NE(node("Device.Hosts.Host.1"), nullptr);
}

TEST_F(Metadata, TenThousandInstancesCostTenTimesAThousand) {
    ScopedPath host;
    ASSERT_EQ(path_resolve(&host, "Device.Hosts.Host"), 0);
    json_object_set_new(host.node, "#fetched", json_true());
    double resolved[2];
    double listed[2];
    int last = 0;
    for (int step = 0; step < 2; step++) {
        int first = last + 1;
        last = step == 0 ? 1000 : 10000;
        for (int i = first; i <= last; ++i) {
            json_object_set_new(host.node, std::to_string(i).c_str(),
                                json_pack("{s:{s:s},s:b}", "#attr", "type", "object", "#fetched", 1));
        }
        resolved[step] = least_cpu_seconds([&] {
            for (int i = 1; i <= last; ++i) {
                ScopedPath p;
                ASSERT_EQ(path_resolve(&p, ("Device.Hosts.Host." + std::to_string(i)).c_str()), 0);
            }
        });
        listed[step] = least_cpu_seconds([&] {
            JsonRef all(node_candidates(&host, "Device.Hosts.Host", CANDIDATES_DOT));
            EXPECT_GE(json_array_size(all), static_cast<size_t>(last));
        });
    }
    EXPECT_LT(resolved[1], resolved[0] * 30);
    EXPECT_LT(listed[1], listed[0] * 30);
}

}  // namespace
