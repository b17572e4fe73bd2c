// Setting values: what each type takes and refuses, all or nothing, order, keys, hooks and what is told.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

TEST_F(StoreTest, EachTypeChecksItsValues) {
    const struct {
        const char* name;
        const char* value;
        int code;  ///< 0: taken
        const char* why;
    } rows[] = {
        {"Boolean", "true", 0, ""},
        {"Boolean", "1", 9006, "must be true or false"},
        {"Boolean", "'true'", 9006, "must be true or false"},
        {"Flag", "false", 0, ""},
        {"Int", "-2147483648", 0, ""},
        {"Int", "2147483648", 9007, "must be -2147483648 to 2147483647"},
        {"Int", "1.5", 9006, "must be an integer"},
        {"Int", "'1'", 9006, "must be an integer"},
        {"Int", "null", 9006, "must be an integer"},
        {"Unsigned", "4294967295", 0, ""},
        {"Unsigned", "4294967296", 9007, "must be 0 to 4294967295"},
        {"Unsigned", "-1", 9007, "must be 0 to 4294967295"},
        {"Long", "-9223372036854775808", 0, ""},
        {"UnsignedLong", "9223372036854775807", 0, ""},
        {"UnsignedLong", "-1", 9007, "must be at least 0"},
        {"Range", "-5", 0, ""},
        {"Range", "10", 0, ""},
        {"Range", "-6", 9007, "must be -5 to 10"},
        {"Range", "11", 9007, "must be -5 to 10"},
        {"Decimal", "2.25", 0, ""},
        {"Decimal", "3", 0, ""},
        {"Decimal", "9.01", 9007, "must be 0 to 9"},
        {"Decimal", "'2'", 9006, "must be a number"},
        {"DateTime", "'2024-02-29T23:59:60Z'", 0, ""},
        {"DateTime", "'2024-05-31T08:30:00.125+02:00'", 0, ""},
        {"DateTime", "'2024-05-31T08:30:00'", 0, ""},
        {"DateTime", "'2023-02-29T00:00:00Z'", 9007, "must be a date and time such as 2024-05-31T08:30:00Z"},
        {"DateTime", "'2024-13-01T00:00:00Z'", 9007, "must be a date and time such as 2024-05-31T08:30:00Z"},
        {"DateTime", "'2024-05-31 08:30:00'", 9007, "must be a date and time such as 2024-05-31T08:30:00Z"},
        {"DateTime", "'2024-05-31T08:30:00.Z'", 9007, "must be a date and time such as 2024-05-31T08:30:00Z"},
        {"DateTime", "''", 9007, "must be a date and time such as 2024-05-31T08:30:00Z"},
        {"Base64", "'YWJj'", 0, ""},
        {"Base64", "'YWJjZA=='", 0, ""},
        {"Base64", "'YWJjZGU='", 9007, "must be at most 4 octets long"},
        {"Base64", "'YWJ'", 9007, "must be base64"},
        {"Base64", "'Y=Jj'", 9007, "must be base64"},
        {"HexBinary", "'0aFF'", 0, ""},
        {"HexBinary", "'0aF'", 9007, "must be pairs of hexadecimal digits"},
        {"HexBinary", "'0aFF00'", 9007, "must be at most 2 octets long"},
        {"Address", "'192.0.2.1'", 0, ""},
        {"Address", "'2001:db8::1'", 0, ""},
        {"Address", "''", 0, ""},
        {"Address", "'192.0.2.256'", 9007, "must be an IP address"},
        {"Address", "'192.0.2.1 '", 9007, "must be an IP address"},
        {"Address4", "'192.0.2.1'", 0, ""},
        {"Address4", "'::1'", 9007, "must be an IPv4 address"},
        {"Prefix", "'192.0.2.0/24'", 0, ""},
        {"Prefix", "'2001:db8::/128'", 0, ""},
        {"Prefix", "'192.0.2.0/33'", 9007, "must be an IP prefix such as 192.0.2.0/24"},
        {"Prefix", "'192.0.2.0'", 9007, "must be an IP prefix such as 192.0.2.0/24"},
        {"Prefix", "'192.0.2.0/'", 9007, "must be an IP prefix such as 192.0.2.0/24"},
        {"Mac", "'02:00:5E:10:00:01'", 0, ""},
        {"Mac", "'02-00-5e-10-00-01'", 9007, "must be a MAC address such as 02:00:5e:10:00:01"},
        {"Url", "'http://[2001:db8::1]/x'", 0, ""},
        {"Url", "'no url'", 9007, "must be a URL"},
        {"Url", "'://x'", 9007, "must be a URL"},
        {"Uuid", "'7d9f7c8e-6d2b-4c8e-9c55-0d3f0a6b1e21'", 0, ""},
        {"Uuid", "'7d9f7c8e6d2b4c8e9c550d3f0a6b1e21'", 9007, "must be a UUID"},
        {"Json", "{'a':[1,null]}", 0, ""},
        {"Json", "[]", 0, ""},
        {"Json", "'{}'", 9006, "must be a JSON object or array"},
        {"Enum", "'Long one'", 0, ""},
        {"Enum", "'long one'", 9007, "must be one of A, B, Long one"},
        {"Enum", "''", 9007, "must be one of A, B, Long one"},
        {"IntEnum", "-1", 0, ""},
        {"IntEnum", "5", 9007, "must be one of 4, 6, -1"},
        {"Pattern", "'abc'", 0, ""},
        {"Pattern", "'x'", 0, ""},
        {"Pattern", "'xx'", 9007, "does not match the pattern"},
        {"Pattern", "'abcd'", 9007, "does not match the pattern"},
        {"List", "'a,b,c'", 0, ""},
        {"List", "''", 9007, "must have 1 to 3 items"},
        {"List", "'a,b,c,d'", 9007, "must have 1 to 3 items"},
        {"List", "'a,toolong'", 9007, "must be at most 4 characters long"},
        {"List", "5", 9006, "must be a string"},
        {"ListEnum", "'c,a'", 0, ""},
        {"ListEnum", "'a,d'", 9007, "must be one of a, b, c"},
        {"ListEnum", "'a,'", 9007, "must be one of a, b, c"},
        {"ListEnum", "',a'", 9007, "must be one of a, b, c"},
        {"ListInt", "'0,9'", 0, ""},
        {"ListInt", "'0,10'", 9007, "must be 0 to 9"},
        {"ListInt", "'0, 1'", 0, ""},
        {"ListInt", "'0,'", 9007, "holds what is no integer: "},
    };
    for (auto& row : rows) {
        std::string path = std::string("Device.Types.") + row.name;
        std::string expected = row.code ? refusal(path, row.code, row.why) : "{}";
        std::string before = value(path);
        EXPECT_EQ(set("'" + path + "':" + row.value), expected) << row.name << " " << row.value;
        if (row.code) {
            EXPECT_EQ(value(path), before) << row.name << " " << row.value;
        }
    }
}

TEST_F(StoreTest, LengthsCountCharacters) {
    EXPECT_EQ(set("'Device.Info.Name':'\u00e4\u00f6\u00fc\u00e4\u00f6\u00fc\u00e4\u00f6'"), "{}");
    EXPECT_EQ(set("'Device.Info.Name':'123456789'"),
              refusal("Device.Info.Name", 9007, "must be 1 to 8 characters long"));
    EXPECT_EQ(set("'Device.Info.Name':''"),
              refusal("Device.Info.Name", 9007, "must be 1 to 8 characters long"));
}

TEST_F(StoreTest, ChoicesFromAnotherParameter) {
    EXPECT_EQ(set("'Device.Types.FromList':'a'"), refusal("Device.Types.FromList", 9007, "must be one of b"));
    EXPECT_EQ(set("'Device.Types.ListEnum':'a,c'"), "{}");
    EXPECT_EQ(set("'Device.Types.FromList':'a'"), "{}");
    EXPECT_EQ(set("'Device.Types.FromList':'b'"),
              refusal("Device.Types.FromList", 9007, "must be one of a,c"));
}

TEST_F(StoreTest, ADecimalStaysReal) {
    EXPECT_EQ(set("'Device.Types.Decimal':3"), "{}");
    EXPECT_EQ(value("Device.Types.Decimal"), "3.0");
}

TEST_F(StoreTest, References) {
    const struct {
        const char* name;
        const char* value;
        const char* why;  ///< null: taken
    } rows[] = {
        {"Route.1.Interface", "Device.Net.Interface.1", nullptr},
        {"Route.1.Interface", "Device.Net.Interface.1.", nullptr},
        {"Route.1.Interface", "", nullptr},
        {"Route.1.Interface", "Device.Net.Interface.3", "names nothing that exists: Device.Net.Interface.3"},
        {"Route.1.Interface", "Device.Net.Interface", "must name an instance of Device.Net.Interface"},
        {"Route.1.Interface", "Device.Net.Interface.1.Name", "must name an instance of Device.Net.Interface"},
        {"Route.1.Interface", "Device.Hosts.Host.1", "must name an instance of Device.Net.Interface"},
        {"Route.1.Any", "Device.Hosts.Host.1", nullptr},
        {"Route.1.Any", "Device.Hosts.Host.1.Name", nullptr},
        {"Route.1.Any", "Device.Info.Reboot", "names nothing that exists: Device.Info.Reboot"},
        {"Bridge.Ports", "Device.Hosts.Host.1.Address.2,Device.Net.Interface.2", nullptr},
        {"Bridge.Ports", "Device.Net.Interface.1,Device.Hosts.Host.1",
         "must name an instance of Device.Net.Interface or Device.Hosts.Host.#template.Address"},
    };
    for (auto& row : rows) {
        std::string path = std::string("Device.Net.") + row.name;
        EXPECT_EQ(set("'" + path + "':'" + row.value + "'"), row.why ? refusal(path, 9007, row.why) : "{}")
            << row.value;
    }
    EXPECT_EQ(set("'Device.Net.Route.1.Interface':'Device.Net.Interface.2.'"), "{}");
    EXPECT_EQ(value("Device.Net.Route.1.Interface"), "'Device.Net.Interface.2'");
}

TEST_F(StoreTest, WhatCannotBeSet) {
    const struct {
        const char* path;
        int code;
        const char* why;
    } rows[] = {
        {"Device.Info.Serial", 9008, "is read-only"},
        {"Device.Hosts.HostNumberOfEntries", 9008, "is read-only"},
        {"Device.Hosts.Host.max_instance", 9008, "is read-only"},
        {"Device.Rules.Rule.1.order", 9008, "is read-only"},
        {"Device.Info.Private", 9001, "only system may set it"},
        {"Device.Nothing", 9005, "there is no such parameter"},
        {"Device.Info.", 9005, "there is no such parameter"},
        {"Device.Info.Reboot", 9005, "there is no such parameter"},
        {"Device.Rules.Rule.#template.Name", 9005, "there is no such parameter"},
        {"Device.Rules.Rule.3.Name", 9005, "there is no such parameter"},
        {"device.info.name", 9005, "there is no such parameter"},
    };
    for (auto& row : rows)
        EXPECT_EQ(set(std::string("'") + row.path + "':'x'"), refusal(row.path, row.code, row.why));
    EXPECT_EQ(set("'Device.Info.Name':'x'", user),
              refusal("Device.Info.Name", 9001, "only admin may set it"));
    EXPECT_EQ(set("'Device.Info.Name':'x'", guest),
              refusal("Device.Info.Name", 9001, "only admin may set it"));
    EXPECT_EQ(set("'Device.Info.Private':'x'", root), "{}");
}

TEST_F(StoreTest, AllOrNothing) {
    EXPECT_EQ(set("'Device.Info.Name':'new','Device.Types.Range':99,'Device.Info.Serial':'x','Device.No':1"),
              "9003 nothing was set {'Device.Types.Range':{'code':9007,'message':'must be -5 to 10'},"
              "'Device.Info.Serial':{'code':9008,'message':'is read-only'},"
              "'Device.No':{'code':9005,'message':'there is no such parameter'}}");
    EXPECT_EQ(value("Device.Info.Name"), "'box'");
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(set("'Device.Info.Name':'new','Device.Types.Range':9"), "{}");
    EXPECT_EQ(value("Device.Info.Name"), "'new'");
    EXPECT_EQ(changes, (std::vector<std::string>{"Device.Info.Name='new'", "Device.Types.Range=9"}));
}

TEST_F(StoreTest, MalformedLists) {
    for (const char* params : {"{}", "{'ParameterList':{}}", "{'ParameterList':[1]}",
                               "{'ParameterList':[{'Name':'Device.Info.Name'}]}",
                               "{'ParameterList':[{'Value':1}]}", "{'ParameterList':[{'Name':5,'Value':1}]}"})
        EXPECT_EQ(text_of(store->set_values(admin, json_of(params), false)).substr(0, 4), "9003") << params;
    EXPECT_EQ(text_of(store->set_values(admin, json_of("{'ParameterList':[]}"), false)), "{}");
    EXPECT_EQ(text_of(store->set_values(admin,
                                        json_of("{'ParameterList':[{'Name':'Device.Info.Name','Value':'a'},"
                                                "{'Name':'Device.Info.Name','Value':'b'}]}"),
                                        false)),
              refusal("Device.Info.Name", 9003, "is named twice"));
}

TEST_F(StoreTest, OnlyRealChangesAreTold) {
    std::vector<std::string> hooked;
    store->set_hook("Device.Info.Name",
                    [&](const std::string& path, json_t* value) { hooked.push_back(path + text_of(value)); });
    store->set_hook("Device.Rules.Rule.*.Name",
                    [&](const std::string& path, json_t*) { hooked.push_back(path); });
    EXPECT_EQ(set("'Device.Info.Name':'box'"), "{}");
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(set("'Device.Info.Name':'b2','Device.Rules.Rule.2.Name':'x'"), "{}");
    EXPECT_EQ(changes.size(), 2u);
    EXPECT_EQ(hooked, (std::vector<std::string>{"Device.Info.Name'b2'", "Device.Rules.Rule.2.Name"}));
}

TEST_F(StoreTest, HiddenValuesAreNotTold) {
    EXPECT_EQ(set("'Device.Info.Password':'secret'"), "{}");
    EXPECT_EQ(changes, (std::vector<std::string>{"Device.Info.Password=''"}));
    EXPECT_EQ(value("Device.Info.Password"), "''");
    EXPECT_STREQ(json_string_value(store->value("Device.Info.Password")), "secret");
}

TEST_F(StoreTest, RawTexts) {
    const struct {
        const char* name;
        const char* text;
        const char* expected;  ///< null: refused
    } rows[] = {
        {"Boolean", "'TRUE'", "true"},
        {"Boolean", "'0'", "false"},
        {"Boolean", "'yes'", nullptr},
        {"Int", "'-7'", "-7"},
        {"Int", "'0x10'", "16"},
        {"Int", "' 5'", nullptr},
        {"Int", "'5x'", nullptr},
        {"Int", "''", nullptr},
        {"Int", "8", "8"},
        {"Int", "'99999999999999999999'", nullptr},
        {"Decimal", "'2.5'", "2.5"},
        {"Decimal", "'nan'", nullptr},
        {"Decimal", "'1e999'", nullptr},
        {"Enum", "'B'", "'B'"},
        {"Json", "'[1]'", "[1]"},
        {"Json", "'[1'", nullptr},
        {"Json", "'5'", nullptr},
        {"List", "'a,b'", "'a,b'"},
        {"Boolean", "true", "true"},
    };
    for (auto& row : rows) {
        std::string path = std::string("Device.Types.") + row.name;
        std::string answer = set("'" + path + "':" + row.text, admin, true);
        if (row.expected) {
            EXPECT_EQ(answer, "{}") << row.name << row.text;
            EXPECT_EQ(value(path), row.expected) << row.name << row.text;
        } else {
            EXPECT_EQ(answer.substr(0, 21), "9003 nothing was set ") << row.name << row.text;
        }
    }
    EXPECT_EQ(set("'Device.Rules.Rule.4.index':'1'", admin, true), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "1");
    EXPECT_EQ(set("'Device.Rules.Rule.4.index':'one'", admin, true),
              refusal("Device.Rules.Rule.4.index", 9006, "must be an integer"));
}

TEST_F(StoreTest, IndexMovesAnInstance) {
    EXPECT_EQ(set("'Device.Rules.Rule.4.index':1"), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "1");
    EXPECT_EQ(value("Device.Rules.Rule.1.order"), "2");
    EXPECT_EQ(value("Device.Rules.Rule.2.Order"), "3");
    EXPECT_EQ(changes, (std::vector<std::string>{"Device.Rules.Rule.1.Order=2", "Device.Rules.Rule.2.Order=3",
                                                 "Device.Rules.Rule.4.Order=1"}));
    changes.clear();
    EXPECT_EQ(set("'Device.Rules.Rule.4.index':1"), "{}");
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(set("'Device.Rules.Rule.4.Order':2"), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.1.order"), "1");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "2");
    EXPECT_EQ(value("Device.Rules.Rule.2.order"), "3");
    for (const char* bad : {"0", "4", "-1"})
        EXPECT_EQ(set(std::string("'Device.Rules.Rule.1.index':") + bad),
                  refusal("Device.Rules.Rule.1.index", 9007, "must be 1 to 3"));
    EXPECT_EQ(set("'Device.Rules.Rule.1.index':'1'"),
              refusal("Device.Rules.Rule.1.index", 9006, "must be an integer"));
    EXPECT_EQ(set("'Device.Rules.Rule.1.index':1", user),
              refusal("Device.Rules.Rule.1.index", 9001, "only admin may set it"));
}

TEST_F(StoreTest, AnOrderedInstanceStandsForItsIndex) {
    EXPECT_EQ(set("'Device.Rules.Rule.4':1"), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "1");
    EXPECT_EQ(set("'Device.Rules.Rule.4.':2"), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "2");
    EXPECT_EQ(set("'Device.Rules.Rule.4':9"), refusal("Device.Rules.Rule.4", 9007, "must be 1 to 3"));
    EXPECT_EQ(set("'Device.Rules.Rule.4':1", user),
              refusal("Device.Rules.Rule.4", 9001, "only admin may set it"));
    for (const char* other : {"Device.Rules.Rule", "Device.Rules.Rule.9", "Device.Hosts.Host.1"})
        EXPECT_EQ(set(std::string("'") + other + "':1"), refusal(other, 9005, "there is no such parameter"));
}

TEST_F(StoreTest, TheDaemonsOwnAccess) {
    EXPECT_TRUE(store->set_value("Device.Info.Serial", json_string("S2")));
    EXPECT_TRUE(store->set_value("Device.Info.Serial", json_string("S2")));
    EXPECT_EQ(changes, (std::vector<std::string>{"Device.Info.Serial='S2'"}));
    EXPECT_FALSE(store->set_value("Device.Info.Serial", json_integer(1)));
    EXPECT_FALSE(store->set_value("Device.Info.Nothing", json_integer(1)));
    EXPECT_FALSE(store->set_value("Device.Info.", json_integer(1)));
    EXPECT_FALSE(store->set_value("Device.Info.Serial", nullptr));
}

TEST_F(StoreTest, Execute) {
    const struct {
        const char* params;
        const char* expected;  ///< "path inputs", or the fault
    } rows[] = {
        {"{'Path':'Device.Info.Reboot'}", "Device.Info.Reboot {}"},
        {"{'Path':'Device.Info.Reboot','ParameterList':[]}", "Device.Info.Reboot {}"},
        {"{'Path':'Device.Info.Ping','ParameterList':[{'Name':'Host','Value':'h'}]}",
         "Device.Info.Ping {'Host':'h','Count':3}"},
        {"{'Path':'Device.Info.Ping','ParameterList':[{'Name':'Host','Value':'h'},{'Name':'Count','Value':"
         "null}]}",
         "Device.Info.Ping {'Host':'h','Count':3}"},
        {"{'Path':'Device.Info.Ping','ParameterList':[{'Name':'Host','Value':'h'},{'Name':'Option.7.Value','"
         "Value':2}]}",
         "Device.Info.Ping {'Host':'h','Option.7.Value':2,'Count':3}"},
        {"{'Path':'Device.Info.Ping','ParameterList':[{'Name':'HOST','Value':'h'},{'Name':'option.7.value','"
         "Value':2}]}",
         "Device.Info.Ping {'Host':'h','Option.7.Value':2,'Count':3}"},
        {"{'Path':'Device.Info.Ping','ParameterList':[{'Name':'host','Value':'h'},{'Name':'Host','Value':'i'}"
         "]}",
         "9003 Device.Info.Ping was not called {'Host':{'code':9003,'message':'is named twice'}}"},
        {"{'Path':'Device.Hosts.Host.5.Stats.Reset'}", "Device.Hosts.Host.5.Stats.Reset {}"},
        {"{'Path':'Device.Hosts.Host.9.Stats.Reset'}", "9005 Device.Hosts.Host.9.Stats.Reset"},
        {"{'Path':'Device.Info.Name'}", "9005 Device.Info.Name"},
        {"{'Path':'Device.Info.'}", "9005 Device.Info."},
        {"{}", "9003 Path is no text"},
        {"{'Path':'Device.Info.Ping','ParameterList':5}", "9003 ParameterList is no array"},
        {"{'Path':'Device.Info.Ping','ParameterList':[5]}", "9003 ParameterList holds what has no Name"},
        {"{'Path':'Device.Info.Ping'}",
         "9003 Device.Info.Ping was not called {'Host':{'code':9003,'message':'is required'}}"},
        {"{'Path':'Device.Info.Ping','ParameterList':[{'Name':'Host','Value':1},{'Name':'Count','Value':11},"
         "{'Name':'X','Value':1},{'Name':'Option.Value','Value':1}]}",
         "9003 Device.Info.Ping was not called {'Host':{'code':9003,'message':'is "
         "required'},'Count':{'code':9007,"
         "'message':'must be 0 to 10'},'X':{'code':9005,'message':'there is no such "
         "argument'},'Option.Value':{'code':"
         "9005,'message':'there is no such argument'}}"},
        {"{'Path':'Device.Info.Reboot','ParameterList':[{'Name':'X','Value':1}]}",
         "9003 Device.Info.Reboot was not called {'X':{'code':9005,'message':'there is no such argument'}}"},
    };
    for (auto& row : rows) {
        std::string path;
        json_t* inputs = nullptr;
        obxd::Answer answer = store->check_execute(admin, json_of(row.params), path, inputs);
        JsonRef owned(inputs);
        EXPECT_EQ(answer.code ? text_of(answer) : path + " " + text_of(inputs), row.expected) << row.params;
    }
    std::string path;
    json_t* inputs = nullptr;
    EXPECT_EQ(text_of(store->check_execute(user, json_of("{'Path':'Device.Info.Reboot'}"), path, inputs)),
              "9001 only admin may call Device.Info.Reboot");
    EXPECT_EQ(inputs, nullptr);
}

}  // namespace
