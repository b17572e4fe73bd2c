// References of the model that is shipped: whatever is deleted, none names what is gone.

#include <set>

#include "store_fixture.hpp"

using obxd::Store;

namespace {

struct References : testing::Test {
    std::unique_ptr<Store> store;
    obxd::Caller root{"root", "system", true};

    void SetUp() override {
        std::string error;
        store = Store::load(OBX_SOURCE_DIR "/models/router.json", error);
        ASSERT_TRUE(store) << error;
    }
    JsonRef list(const obxd::Answer& answer) {
        if (answer.code) return JsonRef();
        JsonRef result = result_of(answer);
        return JsonRef(json_incref(json_object_get(result, "ParameterList")));
    }
    bool exists(const std::string& path) {
        JsonRef params(json_pack("{s:s, s:b}", "ParameterPath", path.c_str(), "NextLevel", 1));
        return list(store->get_names(root, params));
    }
    std::vector<std::string> deletable() {
        JsonRef params = json_of("{'ParameterPath':'.','NextLevel':false}"),
                names = list(store->get_names(root, params));
        std::vector<std::string> paths;
        for (size_t i = 0; i < json_array_size(names); i++) {
            json_t* row = json_array_get(names, i);
            std::string path = json_string_value(json_object_get(row, "Name"));
            bool instance = path.size() > 1 && path.back() == '.' && isdigit(path[path.size() - 2]);
            if (instance && json_is_true(json_object_get(row, "Writable"))) paths.push_back(path);
        }
        return paths;
    }
    std::string del(const std::string& path) {
        JsonRef params(json_pack("{s:s}", "ObjectName", path.c_str()));
        return text_of(store->delete_object(root, params));
    }
    void item_check(const std::string& path, const std::string& item, std::set<std::string>& dangling) {
        if (item.starts_with("Device.") && !exists(item)) dangling.insert(path + " = " + item);
    }
    /// Parameters whose text, or part of it, looks like a path but names nothing.
    std::set<std::string> dangling() {
        JsonRef params = json_of("{'ParameterNames':['.']}"), values = list(store->get_values(root, params));
        EXPECT_GT(json_array_size(values), 0u);
        std::set<std::string> found;
        for (size_t i = 0; i < json_array_size(values); i++) {
            json_t* row = json_array_get(values, i);
            const char* text = json_string_value(json_object_get(row, "Value"));
            std::string path = json_string_value(json_object_get(row, "Name")), rest = text ? text : "";
            for (size_t comma; (comma = rest.find(',')) != std::string::npos; rest.erase(0, comma + 1))
                item_check(path, rest.substr(0, comma), found);
            item_check(path, rest, found);
        }
        return found;
    }
};

using Paths = std::set<std::string>;

TEST_F(References, NoneNamesWhatIsDeleted) {
    EXPECT_EQ(dangling(), Paths());
    int gone = 0;
    // What a reference holds back may go once that reference is gone itself.
    for (int before = -1; before != gone;) {
        before = gone;
        for (const std::string& path : deletable()) {
            if (!exists(path) || del(path) != "{}") continue;
            gone++;
            ASSERT_EQ(dangling(), Paths()) << path;
        }
    }
    EXPECT_GT(gone, 0);
    EXPECT_EQ(deletable(), std::vector<std::string>());
}

TEST_F(References, ARuleKeepsItsInterface) {
    const std::string rule = "Device.Firewall.Chain.1.Rule.7.";
    EXPECT_EQ(del("Device.IP.Interface.3"),
              "9001 " + rule + "SourceInterface refers to Device.IP.Interface.3.");
    JsonRef params = json_of("{'ParameterList':[{'Name':'" + rule + "SourceInterface','Value':''},{'Name':'" +
                             rule + "DestInterface','Value':'Device.IP.Interface.3'}]}");
    EXPECT_EQ(text_of(store->set_values(root, params, false)), "{}");
    EXPECT_EQ(del("Device.IP.Interface.3"),
              "9001 " + rule + "DestInterface refers to Device.IP.Interface.3.");
    EXPECT_EQ(del(rule), "{}");
    EXPECT_EQ(del("Device.IP.Interface.3"), "{}");
}

TEST_F(References, OneSpellingOfAll) {
    const std::string path = "Device.Hosts.Host.2.Layer1Interface";
    for (const char* text : {"Device.WiFi.SSID.2", "Device.WiFi.SSID.2.", "Device.WiFi.SSID.2..",
                             "Device.WiFi.SSID.2. .", "Device.WiFi.SSID.2\t"}) {
        ASSERT_TRUE(store->set_value(path, json_string(text))) << text;
        EXPECT_STREQ(json_string_value(store->value(path)), "Device.WiFi.SSID.2") << text;
    }
}

TEST_F(References, AHostForgetsWhereItWas) {
    EXPECT_EQ(del("Device.WiFi.AccessPoint.2"), "{}");
    EXPECT_STREQ(json_string_value(store->value("Device.Hosts.Host.2.AssociatedDevice")), "");
    EXPECT_STREQ(json_string_value(store->value("Device.Hosts.Host.2.Layer1Interface")),
                 "Device.WiFi.SSID.2");
    EXPECT_EQ(del("Device.WiFi.SSID.2"), "{}");
    EXPECT_STREQ(json_string_value(store->value("Device.Hosts.Host.2.Layer1Interface")), "");
}

}  // namespace
