#include <gtest/gtest.h>

#include <string>

#include "ox_raii.hpp"
#include "ox_tr.hpp"

namespace {

JsonRef load(const char* text) {
    return JsonRef(json_loads(text, JSON_DECODE_ANY, nullptr));
}

std::string dump(const json_t* json) {
    CharsRef text(json_dumps(json, JSON_COMPACT | JSON_ENCODE_ANY));
    return text ? text.get() : "(null)";
}

struct TypeRow {
    const char* text;
    int code;
    int parameter;
};

TEST(Tr, TypeCodes) {
    const TypeRow rows[] = {
        {"object", 1, 0},
        {"method", 2, 0},
        {"string", 3, 1},
        {"boolean", 4, 1},
        {"int", 5, 1},
        {"unsignedInt", 6, 1},
        {"long", 7, 1},
        {"unsignedLong", 8, 1},
        {"decimal", 9, 1},
        {"dateTime", 10, 1},
        {"base64", 11, 1},
        {"hexBinary", 12, 1},
        {"IPAddress", 13, 1},
        {"IPPrefix", 14, 1},
        {"MACAddress", 15, 1},
        {"URL", 16, 1},
        {"Alias", 17, 1},
        {"UUID", 18, 1},
        {"list", 19, 1},
        {"unsignedInt[]", 19, 1},
        {"IPv4Address[]", 19, 1},
        {"[]", 30, 1},
        {"json", 20, 1},
        {"pathRef", 23, 1},
        {"flag", 25, 1},
        {"StatsCounter64", 30, 1},
        {"", 30, 1},
        {"String", 30, 1},
    };
    for (const TypeRow& row : rows) {
        EXPECT_EQ(ox_tr_dm_type_parse(row.text), row.code) << row.text;
        EXPECT_EQ(ox_tr_dm_type_is_parameter(row.code), row.parameter) << row.text;
    }
    EXPECT_EQ(ox_tr_dm_type_parse(nullptr), 0);
    for (int code : {-1, 0, 21, 22, 24, 26, 29, 31, 1000})
        EXPECT_EQ(ox_tr_dm_type_is_parameter(code), 0) << code;
}

TEST(Tr, AttributesOfANode) {
    JsonRef node = load(R"({"#attr":{"type":"int","multi":true,"ordered":true,"default":7,"base":16}})");
    EXPECT_EQ(ox_tr_dm_node_type_get(node), OX_TR_INT);
    EXPECT_EQ(ox_tr_dm_node_is_multi(node), 1);
    EXPECT_EQ(ox_tr_dm_node_is_ordered(node), 1);
    EXPECT_EQ(json_integer_value(ox_tr_dm_node_default_get(node)), 7);
    EXPECT_EQ(json_object_size(ox_tr_dm_node_attr_get(node)), 5U);
    EXPECT_EQ(ox_tr_dm_node_get_base(node), 16);
    for (const char* text :
         {"null", "{}", "5", R"({"#attr":5})", R"({"#attr":{"type":1,"multi":"yes","base":"x"}})"}) {
        JsonRef odd = load(text);
        EXPECT_EQ(ox_tr_dm_node_type_get(odd), OX_TR_UNKNOWN) << text;
        EXPECT_EQ(ox_tr_dm_node_is_multi(odd), 0) << text;
        EXPECT_EQ(ox_tr_dm_node_is_ordered(odd), 0) << text;
        EXPECT_EQ(ox_tr_dm_node_default_get(odd), nullptr) << text;
        EXPECT_EQ(ox_tr_dm_node_get_base(odd), 10) << text;
    }
    EXPECT_EQ(ox_tr_dm_node_type_get(nullptr), OX_TR_UNKNOWN);
    EXPECT_EQ(ox_tr_dm_node_attr_get(nullptr), nullptr);
    for (int base : {2, 8, 10, 16}) {
        JsonRef based(json_pack("{s:{s:i}}", "#attr", "base", base));
        EXPECT_EQ(ox_tr_dm_node_get_base(based), base);
    }
}

struct FindRow {
    const char* name;
    const char* found;
};

TEST(Tr, NodesAreFoundByFullName) {
    JsonRef root = load(R"({"D":{"H":{"#template":{"N":"tn"},"2":{"N":"two"}},"P":"p"}})");
    const FindRow rows[] = {
        {"D.P", "\"p\""},
        {"D.P.", "\"p\""},
        {".D..P", "\"p\""},
        {"D.H.2.N", "\"two\""},
        {"D.H.3.N", "\"tn\""},
        {"D.H.#template.N", "\"tn\""},
        {"D.H.x.N", "(null)"},
        {"D.Q", "(null)"},
        {"D.P.Q", "(null)"},
        {"d.P", "(null)"},
        {"D.H.123456789012345678901.N", "(null)"},  // no instance number: too long
    };
    for (const FindRow& row : rows) EXPECT_EQ(dump(ox_tr_node_find(root, row.name)), row.found) << row.name;
    EXPECT_EQ(ox_tr_node_find(root, ""), root.get());
    EXPECT_EQ(ox_tr_node_find(nullptr, "D"), nullptr);
}

TEST(Tr, FullAndPartialPaths) {
    EXPECT_EQ(ox_tr_path_is_full("Device.Hosts"), 1);
    EXPECT_EQ(ox_tr_path_is_full("Device.Hosts."), 0);
    EXPECT_EQ(ox_tr_path_is_full(""), 0);
    EXPECT_EQ(ox_tr_path_is_full("."), 0);
    EXPECT_EQ(ox_tr_path_is_partial("Device.Hosts"), 0);
    EXPECT_EQ(ox_tr_path_is_partial("Device.Hosts."), 1);
    EXPECT_EQ(ox_tr_path_is_partial(""), 0);
    EXPECT_EQ(ox_tr_path_is_partial("."), 1);
}

struct NamesRow {
    const char* base;
    const char* list;
    const char* config;
};

TEST(Tr, NamesBecomeTrees) {
    const NamesRow rows[] = {
        {".", R"([{"Name":"D.","Attributes":{"type":"object"}},{"Name":"V","Attributes":{"type":"string"}}])",
         R"({"D":{"#info":{"Attributes":{"type":"object"}}},"V":{"#info":{"Attributes":{"type":"string"}}}})"},
        {nullptr, R"([{"Name":"A.B","Writable":true}])", R"({"A":{"B":{"#info":{"Writable":true}}}})"},
        {"D.H.",
         R"([{"Name":"D.H.","x":1},{"Name":"D.H.C","x":2},{"Name":"D.H.1.N","x":3},{"Name":"D.HX.C","x":4},
                    {"Name":"D.","x":5},{"Name":"D","x":6}])",
         R"({"#info":{"x":1},"C":{"#info":{"x":2}},"1":{"N":{"#info":{"x":3}}}})"},
        {"D.H", R"([{"Name":"D.H","x":1},{"Name":"D.H.#template.","x":2}])",
         R"({"#info":{"x":1},"#template":{"#info":{"x":2}}})"},
        {".", R"([{"Name":".","x":1},{"NoName":1},{"Name":5},7,null,{"Name":"A"}])",
         R"({"#info":{"x":1},"A":{"#info":{}}})"},
        {".",
         R"([{"Name":"A.#info.B","x":1},{"Name":"#attr","x":1},{"Name":"#fetched","x":1},{"Name":"A.#lost.x"},{"Name":"#input.B","x":1}])",
         R"({"A":{},"#input":{"B":{"#info":{"x":1}}}})"},
        {".", "[]", "{}"},
        {".", "{}", "{}"},
        {".", "null", "{}"},
    };
    for (const NamesRow& row : rows) {
        JsonRef list = load(row.list);
        JsonRef config(ox_tr_names_to_config(list, row.base));
        EXPECT_EQ(dump(config), row.config) << row.list;
    }
    JsonRef none(ox_tr_names_to_config(nullptr, "."));
    EXPECT_EQ(dump(none), "{}");
}

TEST(Tr, NamesAndValuesBecomeTrees) {
    const NamesRow rows[] = {
        {nullptr, R"([{"Name":"A.B","Value":1},{"Name":"A.C.D","Value":"x"},{"Name":"E","Value":null}])",
         R"({"A":{"B":1,"C":{"D":"x"}},"E":null})"},
        {"Device.DeviceInfo.",
         R"([{"Name":"Device.DeviceInfo.UpgradeProgress","Value":5},{"Name":"Other.X","Value":6}])",
         R"({"UpgradeProgress":5,"Other":{"X":6}})"},
        {nullptr, R"([{"Name":"A","Value":1},{"Name":"A.B","Value":2},{"Name":"C"},5])",
         R"({"A":1,"C":null})"},
        {nullptr, R"([{"Name":"A.L","Value":[1]},{"Name":"A.L","Value":[2]}])", R"({"A":{"L":[2]}})"},
        {nullptr, "[]", "(null)"},
        {nullptr, "[{}]", "(null)"},
        {nullptr, "{}", "(null)"},
        {nullptr, "null", "(null)"},
    };
    for (const NamesRow& row : rows) {
        JsonRef list = load(row.list);
        JsonRef config(ox_tr_namevalues_to_config(list, row.base));
        EXPECT_EQ(dump(config), row.config) << row.list;
    }
}

TEST(Tr, NamesTooDeepForATreeAreSkipped) {
    std::string deep;
    for (int i = 0; i < 1000000; i++) deep += "a.";
    JsonRef list(
        json_pack("[{s:s,s:i},{s:s,s:i}]", "Name", deep.c_str(), "Value", 1, "Name", "B", "Value", 2));
    JsonRef values(ox_tr_namevalues_to_config(list, nullptr));
    EXPECT_EQ(dump(values), R"({"B":2})");
    JsonRef names(ox_tr_names_to_config(list, "."));
    EXPECT_EQ(dump(names), R"({"B":{"#info":{"Value":2}}})");
}

}  // namespace
