// A Status beside an Enable follows it, as on a device that does what it is told.
#include "store_fixture.hpp"

namespace {

struct StatusTest : StoreTest {
    void SetUp() override {
        std::string error;
        store = obxd::Store::load(OBX_SOURCE_DIR "/models/router.json", error);
        ASSERT_TRUE(store) << error;
        store->set_listener([this](const obxd::Change& change) {
            if (change.kind == obxd::Change::VALUE)
                changes.push_back(change.path + "=" + text_of(change.value));
        });
    }
};

TEST_F(StatusTest, FollowsEnable) {
    struct {
        const char* object;
        const char* on;
        const char* off;
    } rows[] = {
        {"Device.NAT.PortMapping.1.", "'Enabled'", "'Disabled'"},
        {"Device.Firewall.Chain.1.Rule.1.", "'Enabled'", "'Disabled'"},
        {"Device.WiFi.SSID.3.", "'Up'", "'Down'"},
        {"Device.Ethernet.Interface.1.", "'Up'", "'Down'"},
        {"Device.DNS.Relay.", "'Enabled'", "'Disabled'"},
        {"Device.Time.", "'Synchronized'", "'Disabled'"},
    };
    for (auto& row : rows) {
        std::string object = row.object;
        set("'" + object + "Enable': true");
        EXPECT_EQ(value(object + "Status"), row.on) << object;
        changes.clear();
        EXPECT_EQ(set("'" + object + "Enable': false"), "{}") << object;
        EXPECT_EQ(value(object + "Status"), row.off) << object;
        EXPECT_EQ(changes, (std::vector<std::string>{object + "Enable=false", object + "Status=" + row.off}));
        changes.clear();
        EXPECT_EQ(set("'" + object + "Enable': true"), "{}") << object;
        EXPECT_EQ(value(object + "Status"), row.on) << object;
        EXPECT_EQ(changes, (std::vector<std::string>{object + "Enable=true", object + "Status=" + row.on}));
    }
}

TEST_F(StatusTest, IsNotTouchedWhereNothingChanges) {
    store->set_value("Device.WiFi.SSID.1.Status", json_string("LowerLayerDown"));
    changes.clear();
    EXPECT_EQ(set("'Device.WiFi.SSID.1.Enable': true"), "{}");
    EXPECT_EQ(value("Device.WiFi.SSID.1.Status"), "'LowerLayerDown'");
    EXPECT_TRUE(changes.empty());
}

TEST_F(StatusTest, StaysWhenTheRequestIsRefused) {
    EXPECT_NE(set("'Device.WiFi.SSID.1.Enable': false, 'Device.WiFi.SSID.1.Nothing': 1"), "{}");
    EXPECT_EQ(value("Device.WiFi.SSID.1.Status"), "'Up'");
}

TEST_F(StatusTest, FollowsARestoredConfiguration) {
    std::string mapping = "Device.NAT.PortMapping.";
    JsonRef params(json_pack("{s:s}", "ObjectName", mapping.c_str()));
    JsonRef added(store->add_object(admin, params).result.release());
    mapping += std::to_string(json_integer_value(json_object_get(added, "InstanceNumber"))) + ".";
    EXPECT_EQ(value(mapping + "Status"), "'Disabled'");
    EXPECT_EQ(set("'" + mapping + "Enable': true, '" + mapping +
                  "ExternalPort': 8123, 'Device.WiFi.SSID.1.Enable': false"),
              "{}");
    JsonRef saved(store->snapshot());
    store->reset_defaults({});
    EXPECT_EQ(value("Device.WiFi.SSID.1.Status"), "'Up'");
    std::string error;
    ASSERT_TRUE(store->restore(saved, error)) << error;
    EXPECT_EQ(value(mapping + "Status"), "'Enabled'");
    EXPECT_EQ(value("Device.WiFi.SSID.1.Status"), "'Down'");
    EXPECT_EQ(value("Device.WiFi.SSID.2.Status"), "'Up'");
}

}  // namespace
