#include <gtest/gtest.h>

#include <string>

#include "ox_raii.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_path.hpp"

namespace {

std::string joined(std::string_view path) {
    std::string text;
    for (std::string_view name : ox_tr_components(path)) {
        if (!text.empty()) text += '|';
        text += name;
    }
    return text;
}

TEST(TrPath, Components) {
    const char* const rows[][2] = {
        {"Device.Hosts.Host.3.", "Device|Hosts|Host|3"},
        {"Device.Hosts", "Device|Hosts"},
        {".Device..Hosts...", "Device|Hosts"},
        {"Device", "Device"},
        {"", ""},
        {".", ""},
        {"...", ""},
        {"#template.a b", "#template|a b"},
    };
    for (const auto& row : rows) EXPECT_EQ(joined(row[0]), row[1]) << row[0];
    EXPECT_EQ(joined(std::string_view("Device.Hosts", 8)), "Device|H");
}

TEST(TrPath, Exact) {
    for (const char* path : {".", "Device", "Device.", "Device.Hosts.Host.3", "#template"})
        EXPECT_TRUE(ox_tr_path_is_exact(path)) << path;
    for (const char* path : {"", "..", ".Device", "Device..", "Device..Hosts", ".."})
        EXPECT_FALSE(ox_tr_path_is_exact(path)) << path;
}

TEST(TrPath, InstanceAsTyped) {
    struct {
        const char* text;
        bool instance;
    } const rows[] = {
        {"1", true},
        {"007", true},
        {"0", true},
        {"12345678901234567890", true},
        {"123456789012345678901", false},
        {"", false},
        {"-1", false},
        {"1a", false},
        {" 1", false},
        {"#template", false},
    };
    for (const auto& row : rows) EXPECT_EQ(ox_tr_is_instance(row.text), row.instance) << row.text;
}

TEST(TrPath, InstanceAsTheDaemonWritesIt) {
    struct {
        const char* text;
        uint32_t number;  // 0: none
    } const rows[] = {
        {"1", 1},
        {"10", 10},
        {"4294967295", 4294967295U},
        {"4294967296", 0},
        {"99999999999", 0},
        {"01", 0},
        {"0", 0},
        {"", 0},
        {"1x", 0},
        {"+1", 0},
    };
    for (const auto& row : rows) {
        uint32_t number = 0;
        EXPECT_EQ(ox_tr_instance_number(row.text, &number), row.number != 0) << row.text;
        EXPECT_EQ(number, row.number) << row.text;
    }
}

TEST(TrPath, ParentAndLeaf) {
    const char* const rows[][3] = {
        {"Device.Hosts.Host.", "Device.Hosts", "Host"},
        {"Device.Hosts", "Device", "Hosts"},
        {"Device..Hosts..", "Device", "Hosts"},
        {"Device", "", "Device"},
        {"Device.", "", "Device"},
        {"", "", ""},
        {"..", "", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(std::string(row[0], ox_tr_path_parent(row[0])), row[1]) << row[0];
        EXPECT_EQ(ox_tr_path_leaf(row[0]), row[2]) << row[0];
    }
}

TEST(TrPath, JoinFitsOrChangesNothing) {
    char path[12] = "";
    EXPECT_TRUE(ox_tr_path_join(path, sizeof path, "Device"));
    EXPECT_STREQ(path, "Device");
    EXPECT_TRUE(ox_tr_path_join(path, sizeof path, "Host"));
    EXPECT_STREQ(path, "Device.Host");
    EXPECT_FALSE(ox_tr_path_join(path, sizeof path, ""));
    EXPECT_STREQ(path, "Device.Host");
    char short_one[8] = "Device.";
    EXPECT_FALSE(ox_tr_path_join(short_one, sizeof short_one, "X"));
    EXPECT_STREQ(short_one, "Device.");
    char partial[9] = "Device.";
    EXPECT_TRUE(ox_tr_path_join(partial, sizeof partial, "X"));
    EXPECT_STREQ(partial, "Device.X");
}

TEST(TrPath, Below) {
    struct {
        const char* path;
        const char* base;
        const char* rest;  // null: elsewhere
    } const rows[] = {
        {"Device.Hosts.Host.", "Device.Hosts.", ".Host."},
        {"Device.Hosts.", "Device.Hosts", "."},
        {"Device.Hosts", "Device.Hosts.", ""},
        {"Device.HostsX", "Device.Hosts", nullptr},
        {"Device", "Device.Hosts", nullptr},
        {"Device.A", ".", "Device.A"},
        {"Device.A", nullptr, "Device.A"},
        {"", "Device", nullptr},
    };
    for (const auto& row : rows) {
        const char* rest = ox_tr_path_below(row.path, row.base);
        EXPECT_EQ(rest == nullptr, row.rest == nullptr) << row.path;
        if (rest && row.rest) {
            EXPECT_STREQ(rest, row.rest);
        }
    }
}

TEST(TrPath, FullAndPartial) {
    EXPECT_TRUE(ox_tr_path_is_full("Device.Hosts") && !ox_tr_path_is_partial("Device.Hosts"));
    EXPECT_TRUE(!ox_tr_path_is_full("Device.Hosts.") && ox_tr_path_is_partial("Device.Hosts."));
    EXPECT_FALSE(ox_tr_path_is_full("") || ox_tr_path_is_partial(""));
    EXPECT_FALSE(ox_tr_path_is_full(nullptr) || ox_tr_path_is_partial(nullptr));
}

TEST(TrList, PassesOverWhatHasNoName) {
    JsonRef list(
        json_loads(R"([{"Name":"a"},{"Value":1},3,{"Name":7},null,{"Name":"b","Value":2}])", 0, nullptr));
    std::string names;
    for (ox_tr_element element : ox_tr_elements(list)) names += element.name;
    EXPECT_EQ(names, "ab");
    for (ox_tr_element element : ox_tr_elements(nullptr)) FAIL() << element.name;
    JsonRef object(json_object());
    for (ox_tr_element element : ox_tr_elements(object)) FAIL() << element.name;
}

TEST(TrList, ValueElement) {
    JsonRef element(ox_tr_value_element_new("Device.A", json_integer(3)));
    CharsRef text(json_dumps(element, JSON_COMPACT));
    EXPECT_STREQ(text, R"({"Name":"Device.A","Value":3})");
    EXPECT_EQ(ox_tr_value_element_new("Device.A", nullptr), nullptr);
    EXPECT_EQ(ox_tr_value_element_new("\xff", json_integer(3)), nullptr);
}

}  // namespace
