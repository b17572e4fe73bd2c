// The model that is shipped: it loads, its values pass its own checks, and it holds what people expect in it.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

struct Counts {
    int objects = 0, parameters = 0, methods = 0;
};

struct RouterModel : testing::Test {
    std::unique_ptr<Store> store;
    obxd::Caller root{"root", "system", true}, admin{"admin", "admin", false}, guest{"", "guest", false};

    void SetUp() override {
        std::string error;
        store = Store::load(OBX_SOURCE_DIR "/models/router.json", error);
        ASSERT_TRUE(store) << error;
    }
    JsonRef data_model() {
        JsonRef params(json_pack("{s:[s]}", "ParameterNames", "."));
        JsonRef result = result_of(store->get_data_model(root, params));
        return JsonRef(json_incref(json_object_get(result, "Datamodel")));
    }
    JsonRef attributes(const std::string& path) {
        JsonRef params(json_pack("{s:[s], s:i}", "ParameterNames", path.c_str(), "Level", 0));
        JsonRef result = result_of(store->get_attributes(root, params));
        json_t* entry = json_array_get(json_object_get(result, "ParameterList"), 0);
        return JsonRef(json_incref(json_object_get(entry, "Attributes")));
    }
    std::string set(const std::string& values) {
        JsonRef pairs = json_of("{" + values + "}");
        JsonRef list(json_array());
        const char* key;
        json_t* entry;
        json_object_foreach(pairs.get(), key, entry)
            json_array_append_new(list, json_pack("{s:s, s:O}", "Name", key, "Value", entry));
        JsonRef params(json_pack("{s:O}", "ParameterList", list.get()));
        return text_of(store->set_values(admin, params, false));
    }
};

std::string type_of(json_t* node) {
    const char* type = json_string_value(json_object_get(json_object_get(node, "#attr"), "type"));
    return type ? type : "";
}

void count(json_t* node, Counts& counts) {
    const char* key;
    json_t* child;
    json_object_foreach(node, key, child) {
        std::string name = key;
        if (name == "#attr" || name == "#input" || name == "max_instance" || name == "order" ||
            name == "index")
            continue;
        if (name == "#template") {
            count(child, counts);
            continue;
        }
        std::string type = type_of(child);
        if (type == "method")
            counts.methods++;
        else if (type == "object")
            counts.objects++;
        else
            counts.parameters++;
        if (type == "object") count(child, counts);
    }
}

TEST_F(RouterModel, ValuesPassTheirOwnChecks) {
    std::string error;
    EXPECT_TRUE(store->validate(error)) << error;
}

TEST_F(RouterModel, ItsOwnConfigurationComesBack) {
    JsonRef snapshot(store->snapshot());
    std::string error;
    EXPECT_TRUE(store->restore(snapshot, error)) << error;
    JsonRef again(store->snapshot());
    EXPECT_TRUE(json_equal(snapshot, again));
    EXPECT_TRUE(store->validate(error)) << error;
}

TEST_F(RouterModel, HoldsAHomeRouter) {
    Counts counts;
    count(data_model(), counts);
    EXPECT_GE(counts.objects, 69);
    EXPECT_GE(counts.parameters, 530);
    EXPECT_GE(counts.methods, 23);
}

TEST_F(RouterModel, EveryNodeHasAType) {
    std::function<void(json_t*, const std::string&)> walk = [&](json_t* node, const std::string& path) {
        EXPECT_NE(type_of(node), "") << path;
        const char* key;
        json_t* child;
        json_object_foreach(node, key, child) if (std::string(key) != "#attr") walk(child, path + "." + key);
    };
    walk(data_model(), "");
}

TEST_F(RouterModel, EverythingThatCanBeSetHasADefault) {
    std::function<void(json_t*, const std::string&)> walk = [&](json_t* node, const std::string& path) {
        json_t* attrs = json_object_get(node, "#attr");
        std::string type = type_of(node), access = json_string_value(json_object_get(attrs, "access"));
        if (type != "object" && type != "method" && access == "readWrite") {
            EXPECT_TRUE(json_object_get(attrs, "default")) << path;
        }
        if (path.find("#input") != std::string::npos && type != "object") {
            EXPECT_EQ(access, "readWrite") << path;
        }
        const char* key;
        json_t* child;
        json_object_foreach(node, key, child) if (std::string(key) != "#attr") walk(child, path + "." + key);
    };
    walk(data_model(), "");
}

TEST_F(RouterModel, Attributes) {
    const struct {
        const char* path;
        const char* attribute;
        const char* expected;
    } rows[] = {
        {"Device.DeviceInfo.DeviceMode", "enum", "['Router','Bridge','AccessPoint','Repeater']"},
        {"Device.DeviceInfo.UpgradeProgress", "type", "'int'"},
        {"Device.DeviceInfo.UpgradeStatus", "type", "'int'"},
        {"Device.Users.SystemAccess", "type", "'boolean'"},
        {"Device.Users.CurrentUser", "type", "'string'"},
        {"Device.System.FeatureFlags", "base", "16"},
        {"Device.System.LEDMask", "base", "2"},
        {"Device.System.FileMask", "base", "8"},
        {"Device.System.Features", "type", "'json'"},
        {"Device.System.Latitude", "type", "'decimal'"},
        {"Device.System.RemoteSupport", "type", "'flag'"},
        {"Device.System.Debug.#input.Mode", "enum", "['Disabled','Temporary','Permanent']"},
        {"Device.System.Debug.#input.UserPassword", "default", "''"},
        {"Device.System.LogLevel", "offValue", "'Error'"},
        {"Device.WiFi.Radio.1.Channel", "maxInclusive", "255"},
        {"Device.WiFi.Radio.1.Channel", "handlers",
         "[{'action':0,'handler':'wifi_channel_get'},{'action':1,'handler':'wifi_channel_set'},{'action':5,'"
         "handler':"
         "'wifi_status_redraw'}]"},
        {"Device.WiFi.AccessPoint.1.SSIDReference", "relations",
         "[{'verdict':0,'match':'Device.WiFi.SSID.*.'}]"},
        {"Device.WiFi.AccessPoint.1.SSIDReference", "foreign_key", "'Device.WiFi.SSID.'"},
        {"Device.Firewall.Chain.1.Rule.", "ordered", "true"},
        {"Device.Firewall.Chain.1.Rule.#template.", "ordered", "true"},
        {"Device.NAT.PortMapping.", "maxCount", "32"},
        {"Device.NAT.PortMapping.1.Protocol", "enum", "['TCP','UDP']"},
        {"Device.NAT.PortMapping.1.ExternalPort", "maxInclusive", "65535"},
        {"Device.Hosts.Host.1.IPAddress", "type", "'IPAddress'"},
        {"Device.IP.Diagnostics.IPPing", "async", "true"},
        {"Device.IP.Diagnostics.TCPConnect", "async", "(none)"},
        {"Device.Ethernet.Interface.1.Stats.BytesSent", "type", "'StatsCounter64'"},
    };
    for (auto& row : rows)
        EXPECT_EQ(text_of(json_object_get(attributes(row.path), row.attribute)), row.expected) << row.path;
}

TEST_F(RouterModel, FilledWithInstances) {
    const struct {
        const char* object;
        size_t least;
    } rows[] = {{"Device.Hosts.Host.", 12},
                {"Device.Ethernet.Interface.", 5},
                {"Device.WiFi.Radio.", 2},
                {"Device.WiFi.SSID.", 3},
                {"Device.WiFi.AccessPoint.2.AssociatedDevice.", 3},
                {"Device.DHCPv4.Server.Pool.1.Client.", 8},
                {"Device.Firewall.Chain.1.Rule.", 8},
                {"Device.NAT.PortMapping.", 3},
                {"Device.Users.User.", 3},
                {"Device.Routing.Router.1.IPv4Forwarding.", 4}};
    for (auto& row : rows) EXPECT_GE(store->instances(row.object).size(), row.least) << row.object;
}

TEST_F(RouterModel, SecretsAndRoles) {
    auto read = [&](const char* name, const obxd::Caller& caller) {
        JsonRef params(json_pack("{s:[s]}", "ParameterNames", name));
        return text_of(store->get_values(caller, params));
    };
    EXPECT_EQ(read("Device.WiFi.AccessPoint.1.Security.KeyPassphrase", root),
              "{'ParameterList':[{'Name':'Device.WiFi.AccessPoint.1.Security.KeyPassphrase','Value':''}]}");
    EXPECT_EQ(read("Device.System.SupportKey", admin), "9001 Device.System.SupportKey");
    EXPECT_EQ(read("Device.Hosts.", guest).substr(0, 4), "9001");
    EXPECT_EQ(read("Device.DeviceInfo.ModelName", guest).substr(0, 17), "{'ParameterList':");
    EXPECT_EQ(read("Device.Users.SystemAccess", guest).substr(0, 17), "{'ParameterList':");
    EXPECT_EQ(read("DataModelVersion", guest),
              "{'ParameterList':[{'Name':'DataModelVersion','Value':'2.16'}]}");
}

TEST_F(RouterModel, RefusesWhatARouterRefuses) {
    const struct {
        const char* values;
        int code;  ///< 0: taken
    } rows[] = {
        {"'Device.WiFi.Radio.1.Channel':11", 0},
        {"'Device.WiFi.Radio.1.Channel':256", 9007},
        {"'Device.WiFi.Radio.1.OperatingFrequencyBand':'5GHz'", 9007},
        {"'Device.WiFi.Radio.1.OperatingStandards':'n,ax'", 0},
        {"'Device.WiFi.Radio.1.OperatingStandards':'n,ac'", 9007},
        {"'Device.WiFi.AccessPoint.1.Security.ModeEnabled':'WPA3-Personal'", 0},
        {"'Device.WiFi.AccessPoint.1.Security.ModeEnabled':'WEP-64'", 9007},
        {"'Device.WiFi.AccessPoint.1.Security.KeyPassphrase':'short'", 9007},
        {"'Device.WiFi.AccessPoint.1.SSIDReference':'Device.WiFi.SSID.9'", 9007},
        {"'Device.WiFi.AccessPoint.1.SSIDReference':'Device.WiFi.SSID.2'", 9007},
        {"'Device.NAT.PortMapping.1.InternalClient':'192.168.1.20'", 0},
        {"'Device.NAT.PortMapping.1.ExternalPort':3074,'Device.NAT.PortMapping.1.Protocol':'UDP'", 9007},
        {"'Device.IP.Interface.2.IPv4Address.1.IPAddress':'10.0.0.1'", 0},
        {"'Device.IP.Interface.2.IPv4Address.1.IPAddress':'fe80::1'", 9007},
        {"'Device.Firewall.Chain.1.Rule.3.IPVersion':5", 9007},
        {"'Device.Firewall.Chain.1.Rule.8.index':1", 0},
        {"'Device.DeviceInfo.DeviceMode':'Toaster'", 9007},
        {"'Device.DeviceInfo.SerialNumber':'x'", 9008},
        {"'Device.System.SupportKey':'x'", 9001},
    };
    for (auto& row : rows) {
        std::string answer = set(row.values);
        if (row.code) {
            EXPECT_NE(answer.find("'code':" + std::to_string(row.code)), std::string::npos)
                << row.values << answer;
        } else {
            EXPECT_EQ(answer, "{}") << row.values;
        }
    }
}

}  // namespace
