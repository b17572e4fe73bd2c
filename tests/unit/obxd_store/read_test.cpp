// Reading values, names, attributes, the data model and configuration trees.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

/// "Name=Value" for each entry, joined by blanks.
std::string pairs(std::string answer) {
    JsonRef json = json_of(answer);
    std::string text;
    size_t i;
    json_t* entry;
    json_array_foreach(json_object_get(json, "ParameterList"), i, entry) {
        if (!text.empty()) text += " ";
        text += json_string_value(json_object_get(entry, "Name"));
        if (json_t* value = json_object_get(entry, "Value")) text += "=" + text_of(value);
        if (json_t* writable = json_object_get(entry, "Writable")) text += json_is_true(writable) ? "!" : "";
    }
    return text;
}

TEST_F(StoreTest, ValuesByPath) {
    const struct {
        const char* names;
        const char* expected;
    } rows[] = {
        {"'Device.Info.Name'", "Device.Info.Name='box'"},
        {"'Device.Hosts.HostNumberOfEntries'", "Device.Hosts.HostNumberOfEntries=3"},
        {"'Device.Hosts.Host.max_instance'", "Device.Hosts.Host.max_instance=6"},
        {"'Device.Rules.Rule.4.order','Device.Rules.Rule.4.index'",
         "Device.Rules.Rule.4.order=3 Device.Rules.Rule.4.index=3"},
        {"'Device.Hosts.Host.1.Address.'",
         "Device.Hosts.Host.1.Address.1.IP='192.0.2.1' Device.Hosts.Host.1.Address.2.IP='2001:db8::1'"},
        {"'Device.Hosts.Host.1.Address'",
         "Device.Hosts.Host.1.Address.1.IP='192.0.2.1' Device.Hosts.Host.1.Address.2.IP='2001:db8::1'"},
        {"'Device.Rules.'",
         "Device.Rules.Count=3 Device.Rules.Rule.1.Order=1 Device.Rules.Rule.1.Name='first' "
         "Device.Rules.Rule.2.Order=2 Device.Rules.Rule.2.Name='second' "
         "Device.Rules.Rule.4.Order=3 Device.Rules.Rule.4.Name='fourth'"},
        {"'Device.Hosts.Host.#template.Name'",
         "Device.Hosts.Host.1.Name='tv' Device.Hosts.Host.2.Name='laptop' Device.Hosts.Host.5.Name='say "
         "\\'hi\\''"},
        {"'Device.Hosts.Host.#template.Address.#template.IP'",
         "Device.Hosts.Host.1.Address.1.IP='192.0.2.1' Device.Hosts.Host.1.Address.2.IP='2001:db8::1'"},
        {"'Device.Hosts.Host.5.Address.#template.IP'", ""},
        {"'Device.Rules.Rule.#template.order'",
         "Device.Rules.Rule.1.order=1 Device.Rules.Rule.2.order=2 Device.Rules.Rule.4.order=3"},
        {"'Device.Info.Password'", "Device.Info.Password=''"},
    };
    for (auto& row : rows) EXPECT_EQ(pairs(get(row.names, admin)), row.expected) << row.names;
}

TEST_F(StoreTest, TopHoldsTheVersionAndEverything) {
    std::string all = pairs(get("'.'", admin));
    EXPECT_EQ(all.find("DataModelVersion='2.1' Device.Info.Name='box'"), 0u);
    EXPECT_NE(all.find("Device.Rules.Rule.4.Name='fourth'"), std::string::npos);
    EXPECT_EQ(all.find("max_instance"), std::string::npos);
    EXPECT_EQ(all.find("Reboot"), std::string::npos);
}

TEST_F(StoreTest, ANameThatIsRepeatedIsAnsweredOnce) {
    EXPECT_EQ(pairs(get("'Device.Info.Name','Device.Info.Serial','Device.Info.Name'", admin)),
              "Device.Info.Name='box' Device.Info.Serial='S1'");
    EXPECT_EQ(pairs(ask(&Store::get_attributes, "{'ParameterNames':['.','.','Device.','.'],'Level':0}")),
              ". Device.");
    EXPECT_EQ(get("'Device.No','Device.No'", admin), "9005 Device.No");
}

TEST_F(StoreTest, AnAnswerBeyondTheRoomForItIsCut) {
    const std::pair<Read, const char*> rows[] = {
        {&Store::get_values, "{'ParameterNames':['.']}"},
        {&Store::get_names, "{'ParameterPath':'.','NextLevel':false}"},
        {&Store::get_attributes, "{'ParameterNames':['.']}"},
        {&Store::get_data_model, "{'ParameterNames':['.']}"},
        {&Store::get_config, "{'Path':'.'}"},
        {&Store::select, "{'Selector':'Device'}"},
    };
    for (auto& [read, params] : rows) {
        obxd::Answer whole = (store.get()->*read)(root, json_of(params), obxd::MAX_MESSAGE);
        size_t size = whole.text.size();
        ASSERT_GT(size, 400u);
        EXPECT_EQ(ask(read, params, root, size), text_of(std::move(whole))) << params;
        for (size_t room : {size - 1, size / 2, size_t{1}, size_t{0}})
            EXPECT_EQ(ask(read, params, root, room), "(cut)") << params << " " << room;
    }
    EXPECT_EQ(ask(&Store::get_values, "{'ParameterNames':['.','Device.No']}", root, 10), "9005 Device.No");
}

TEST_F(StoreTest, UnknownNames) {
    for (const char* name :
         {"Device.Nothing", "device.Info.Name", "Device.Info.name", "Device..Info", "", "..",
          "Device.Hosts.Host.3", "Device.Hosts.Host.01", "Device.Hosts.Host.3.Name",
          "Device.Hosts.Host.#template.Nothing", "Device.Hosts.Host.5.Address.#template.Nothing",
          "Device.Info.Name.", "Device.Info.Name.x", "Device.Info.Reboot", "Device.Info.#template",
          "Device.Info.max_instance", "Device.Hosts.Host.1.order", "Device.Hosts.Host.99999999999999999999"})
        EXPECT_EQ(get(std::string("'").append(name).append("'"), admin).substr(0, 4), "9005") << name;
}

TEST_F(StoreTest, OneUnknownNameFailsTheWholeRequest) {
    EXPECT_EQ(get("'Device.Info.Name','Device.No'", admin), "9005 Device.No");
}

TEST_F(StoreTest, BadParams) {
    const struct {
        Read request;
        const char* params;
    } rows[] = {
        {&Store::get_values, "{}"},
        {&Store::get_values, "{'ParameterNames':'Device.'}"},
        {&Store::get_values, "{'ParameterNames':[7]}"},
        {&Store::get_names, "{}"},
        {&Store::get_names, "{'ParameterPath':5}"},
        {&Store::get_attributes, "{'ParameterNames':[null]}"},
        {&Store::get_attributes, "{'ParameterNames':['Device.'],'Level':2}"},
        {&Store::get_attributes, "{'ParameterNames':['Device.'],'Level':'1'}"},
        {&Store::get_data_model, "{'ParameterNames':{}}"},
        {&Store::get_config, "{}"},
        {&Store::select, "{}"},
    };
    for (auto& row : rows) EXPECT_EQ(ask(row.request, row.params).substr(0, 4), "9003") << row.params;
    EXPECT_EQ(ask(&Store::add_object, "{}").substr(0, 4), "9003");
    EXPECT_EQ(ask(&Store::delete_object, "{'ObjectName':[]}").substr(0, 4), "9003");
}

TEST_F(StoreTest, WhoMayRead) {
    EXPECT_EQ(get("'Device.Info.Secret'", admin),
              "{'ParameterList':[{'Name':'Device.Info.Secret','Value':'s3cret'}]}");
    EXPECT_EQ(get("'Device.Info.Secret'", user), "9001 Device.Info.Secret");
    EXPECT_EQ(get("'Device.Info.Secret'", user, true), "{'ParameterList':[]}");
    EXPECT_EQ(get("'Device.Info.'", user), "9001 Device.Info.Secret");
    EXPECT_EQ(pairs(get("'Device.Info.'", user, true)),
              "Device.Info.Name='box' Device.Info.Serial='S1' Device.Info.UpTime=0 Device.Info.Password='' "
              "Device.Info.Private=''");
    EXPECT_EQ(pairs(get("'Device.Info.Name'", guest)), "Device.Info.Name='box'");
    EXPECT_EQ(get("'Device.Rules.Rule.1.Name'", guest), "9001 Device.Rules.Rule.1.Name");
    EXPECT_EQ(get("'Device.Hosts.Host.max_instance'", guest), "9001 Device.Hosts.Host.max_instance");
    EXPECT_EQ(pairs(get("'DataModelVersion'", guest)), "DataModelVersion='2.1'");
}

TEST_F(StoreTest, Names) {
    const struct {
        const char* path;
        bool next;
        const char* expected;
    } rows[] = {
        {".", true, "DataModelVersion Device."},
        {"Device.", true, "Device.Info. Device.Types. Device.Hosts. Device.Net. Device.Queue. Device.Rules."},
        {"Device.Hosts.Host.", true, "Device.Hosts.Host.1. Device.Hosts.Host.2. Device.Hosts.Host.5."},
        {"Device.Rules.Rule", true, "Device.Rules.Rule.1.! Device.Rules.Rule.2.! Device.Rules.Rule.4.!"},
        {"Device.Rules.", true, "Device.Rules.Count Device.Rules.Rule.!"},
        {"Device.Rules.Rule.4.", false,
         "Device.Rules.Rule.4.! Device.Rules.Rule.4.Order! Device.Rules.Rule.4.Name!"},
        {"Device.Info.Name", true, "Device.Info.Name!"},
        {"Device.Hosts.Host.1.", false,
         "Device.Hosts.Host.1. Device.Hosts.Host.1.Mac Device.Hosts.Host.1.Name Device.Hosts.Host.1.Active "
         "Device.Hosts.Host.1.Load Device.Hosts.Host.1.Secret Device.Hosts.Host.1.Address. "
         "Device.Hosts.Host.1.Address.1. Device.Hosts.Host.1.Address.1.IP Device.Hosts.Host.1.Address.2. "
         "Device.Hosts.Host.1.Address.2.IP Device.Hosts.Host.1.Stats. Device.Hosts.Host.1.Stats.Sent "
         "Device.Hosts.Host.1.Stats.Reset"},
    };
    for (auto& row : rows) {
        std::string params =
            std::string("{'ParameterPath':'") + row.path + "','NextLevel':" + (row.next ? "true}" : "false}");
        EXPECT_EQ(pairs(ask(&Store::get_names, params)), row.expected) << row.path;
    }
    EXPECT_EQ(ask(&Store::get_names, "{'ParameterPath':'Device.X','NextLevel':true}"), "9005 Device.X");
}

TEST_F(StoreTest, AttributeLevels) {
    const struct {
        const char* path;
        int level;
        const char* expected;
    } rows[] = {
        {".", 0, "."},
        {".", 1, ". DataModelVersion Device."},
        {"Device.Rules", 1, "Device.Rules. Device.Rules.Count Device.Rules.Rule."},
        {"Device.Rules.Rule.", 1,
         "Device.Rules.Rule. Device.Rules.Rule.#template. Device.Rules.Rule.max_instance "
         "Device.Rules.Rule.1. "
         "Device.Rules.Rule.2. Device.Rules.Rule.4."},
        {"Device.Hosts.Host.1.Address.", -1,
         "Device.Hosts.Host.1.Address. Device.Hosts.Host.1.Address.#template. "
         "Device.Hosts.Host.1.Address.#template.IP Device.Hosts.Host.1.Address.max_instance "
         "Device.Hosts.Host.1.Address.1. Device.Hosts.Host.1.Address.1.IP Device.Hosts.Host.1.Address.2. "
         "Device.Hosts.Host.1.Address.2.IP"},
        {"Device.Hosts.Host.#template.Address.", 1,
         "Device.Hosts.Host.#template.Address. Device.Hosts.Host.#template.Address.#template. "
         "Device.Hosts.Host.#template.Address.max_instance"},
        {"Device.Rules.Rule.4.", 1,
         "Device.Rules.Rule.4. Device.Rules.Rule.4.Order Device.Rules.Rule.4.Name Device.Rules.Rule.4.order "
         "Device.Rules.Rule.4.index"},
        {"Device.Rules.Rule.#template.", -1,
         "Device.Rules.Rule.#template. Device.Rules.Rule.#template.Order Device.Rules.Rule.#template.Name "
         "Device.Rules.Rule.#template.order Device.Rules.Rule.#template.index"},
        {"Device.Hosts.Host.5.Address.", -1,
         "Device.Hosts.Host.5.Address. Device.Hosts.Host.5.Address.#template. "
         "Device.Hosts.Host.5.Address.#template.IP Device.Hosts.Host.5.Address.max_instance"},
        {"Device.Hosts.Host.1.Stats.", -1,
         "Device.Hosts.Host.1.Stats. Device.Hosts.Host.1.Stats.Sent Device.Hosts.Host.1.Stats.Reset"},
        {"Device.Info.Ping", 0, "Device.Info.Ping"},
        {"Device.Info.Ping.", 1, "Device.Info.Ping Device.Info.Ping.#input."},
        {"Device.Info.Ping.#input", 1,
         "Device.Info.Ping.#input. Device.Info.Ping.#input.Host Device.Info.Ping.#input.Count "
         "Device.Info.Ping.#input.Option."},
        {"Device.Info.Ping.#input.Option.", -1,
         "Device.Info.Ping.#input.Option. Device.Info.Ping.#input.Option.#template. "
         "Device.Info.Ping.#input.Option.#template.Value"},
        {"Device.Info.Ping.#input.Option.7.Value", 0, "Device.Info.Ping.#input.Option.7.Value"},
        {"Device.Rules.Rule.1.index", -1, "Device.Rules.Rule.1.index"},
        {"Device.Rules.Rule.max_instance", 0, "Device.Rules.Rule.max_instance"},
        {"Device.Info.Name.", 1, "Device.Info.Name"},
    };
    for (auto& row : rows) {
        std::string params =
            std::string("{'ParameterNames':['") + row.path + "'],'Level':" + std::to_string(row.level) + "}";
        EXPECT_EQ(pairs(ask(&Store::get_attributes, params)), row.expected) << row.path;
    }
    for (const char* name :
         {"Device.X", "Device.Rules.Rule.3.", "Device.Info.Reboot.#input", "Device.Rules.Rule.1.order.x"})
        EXPECT_EQ(ask(&Store::get_attributes, std::string("{'ParameterNames':['") + name + "']}"),
                  std::string("9005 ") + name);
}

TEST_F(StoreTest, AttributesOfEachKind) {
    const struct {
        const char* path;
        const char* expected;
    } rows[] = {
        {".", "{'type':'object','access':'readOnly','perms':'user/-','const':true}"},
        {"Device.Hosts.Host.",
         "{'type':'object','access':'readOnly','perms':'user/-','const':true,'multi':true}"},
        {"Device.Hosts.Host.1.", "{'type':'object','access':'readOnly','perms':'user/-','const':true}"},
        {"Device.Rules.Rule.",
         "{'type':'object','access':'readWrite','perms':'user/admin','ordered':true,'multi':true}"},
        {"Device.Rules.Rule.#template.",
         "{'type':'object','access':'readWrite','perms':'user/admin','ordered':true}"},
        {"Device.Rules.Rule.1.order",
         "{'type':'unsignedInt','access':'readOnly','perms':'user/-','const':true,'runtime':true}"},
        {"Device.Rules.Rule.1.index",
         "{'type':'unsignedInt','access':'readWrite','perms':'user/admin','default':1,'runtime':true}"},
        {"Device.Net.Interface.",
         "{'type':'object','access':'readWrite','perms':'user/admin','maxCount':4,'multi':true}"},
        {"Device.Net.Interface.1.Name",
         "{'type':'string','access':'readWrite','perms':'user/admin','default':'','unique':true}"},
        {"Device.Info.Reboot", "{'type':'method','access':'readWrite','perms':'guest/admin','async':true}"},
        {"Device.Types.Hex",
         "{'type':'unsignedInt','access':'readWrite','perms':'user/admin','base':16,'default':255}"},
        {"Device.Types.Address4",
         "{'type':'IPv4Address','access':'readWrite','perms':'user/"
         "admin','default':'','maxLength':15,'regex':'[0-9.]*'}"},
        {"Device.Types.Boolean",
         "{'type':'boolean','access':'readWrite','perms':'user/admin','default':false}"},
        {"Device.Net.Route.1.Interface",
         "{'type':'pathRef','access':'readWrite','perms':'user/admin','default':'',"
         "'foreign_key':'Device.Net.Interface.','relations':[{'verdict':1,'match':'Device.Net.Interface.*.'}]"
         "}"},
        {"Device.Types.Handled",
         "{'type':'string','access':'readWrite','perms':'user/"
         "admin','get_before_set':true,'ignore_handler_set':true,"
         "'default':'','offValue':'off','handlers':[{'action':0,'handler':'read_it'},{'action':1,'handler':'"
         "write_it'}],"
         "'mappings':['uci.a.b']}"},
    };
    for (auto& row : rows) {
        JsonRef answer = json_of(
            ask(&Store::get_attributes, std::string("{'ParameterNames':['") + row.path + "'],'Level':0}"));
        json_t* first = json_array_get(json_object_get(answer, "ParameterList"), 0);
        EXPECT_EQ(text_of(json_object_get(first, "Attributes")), row.expected) << row.path;
    }
}

TEST_F(StoreTest, AttributesOfWhatMayNotBeRead) {
    EXPECT_EQ(ask(&Store::get_attributes, "{'ParameterNames':['Device.Info.Secret'],'Level':0}", user),
              "9001 Device.Info.Secret");
    EXPECT_EQ(ask(&Store::get_attributes,
                  "{'ParameterNames':['Device.Info.Secret','Device.Rules.Count'],'Level':0,'"
                  "IgnoreAccessError':true}",
                  user),
              "{'ParameterList':[{'Name':'Device.Rules.Count','Attributes':{'type':'unsignedInt','access':'"
              "readOnly',"
              "'perms':'user/-','const':true}}]}");
    // A listing of the object names it all the same: the schema is no secret.
    EXPECT_NE(ask(&Store::get_attributes, "{'ParameterNames':['Device.Info.'],'Level':1}", guest)
                  .find("Device.Info.Secret"),
              std::string::npos);
}

TEST_F(StoreTest, DataModelIsNestedFromTheTop) {
    std::string top = "{'#attr':{'type':'object','access':'readOnly','perms':'user/-','const':true}";
    std::string object = "'#attr':{'type':'object','access':'readOnly','perms':'user/-','const':true}";
    EXPECT_EQ(
        ask(&Store::get_data_model, "{'ParameterNames':['Device.Hosts.Host.1.Address.'],'Level':-1}"),
        "{'Datamodel':" + top + ",'Device':{" + object + ",'Hosts':{" + object +
            ",'Host':{'#attr':{'type':'object','access':'readOnly','perms':'user/"
            "-','const':true,'multi':true},"
            "'#template':{" +
            object +
            ",'Address':{'#attr':{'type':'object','access':'readOnly','perms':'user/"
            "-','const':true,'multi':true},"
            "'#template':{" +
            object +
            ",'IP':{'#attr':{'type':'IPAddress','access':'readOnly','perms':'user/-','const':true}}},"
            "'max_instance':{'#attr':{'type':'unsignedInt','access':'readOnly','perms':'user/-','const':true,"
            "'runtime':true}}}}}}}}}");
    EXPECT_EQ(ask(&Store::get_data_model, "{'ParameterNames':[':Device.Rules.'],'Level':0}"),
              ask(&Store::get_data_model, "{'ParameterNames':['Device.Rules.'],'Level':0}"));
    EXPECT_EQ(ask(&Store::get_data_model, "{'ParameterNames':['::Device.Rules.'],'Level':0}"),
              ask(&Store::get_data_model, "{'ParameterNames':['.'],'Level':0}"));
    EXPECT_EQ(ask(&Store::get_data_model, "{'ParameterNames':['Device.Rules.'],'Level':0}"),
              "{'Datamodel':" + top + ",'Device':{" + object + ",'Rules':{" + object + "}}}}");
}

TEST_F(StoreTest, WhatDoesNotExistIsAnsweredAsItsNearestAncestor) {
    const struct {
        const char *path, *nearest;
    } rows[] = {{"Device.X", "Device."},
                {"X.Y.Z.", "."},
                {"Device.Rules.Rule.9.Name", "Device.Rules.Rule."},
                {"Device.Rules.Rule.1.X.Y", "Device.Rules.Rule.1."},
                {"Device.Hosts.Host.1.Address.x", "Device.Hosts.Host.1.Address."}};
    auto model = [&](const char* path) {
        return ask(&Store::get_data_model, std::string("{'ParameterNames':['") + path + "']}");
    };
    auto config = [&](const char* path) {
        return ask(&Store::get_config, std::string("{'Path':'") + path + "'}");
    };
    for (auto& row : rows) {
        EXPECT_EQ(model(row.path), model(row.nearest)) << row.path;
        EXPECT_EQ(config(row.path), config(row.nearest)) << row.path;
        EXPECT_EQ(config(row.path).substr(0, 10), "{'Config':") << row.path;
    }
    for (const char* path : {"", "..", "Device..Info"}) {
        EXPECT_EQ(model(path).substr(0, 5), "9005 ") << path;
        EXPECT_EQ(config(path).substr(0, 5), "9005 ") << path;
    }
}

/// Each component costs once: what costs more takes minutes here.
TEST_F(StoreTest, TheNearestAncestorOfAVeryLongPathIsFoundSoon) {
    for (const char* component : {"Device.", "X.", "*."}) {
        std::string path = "Device.Rules.";
        for (int i = 0; i < 300000; i++) path += component;
        EXPECT_EQ(ask(&Store::get_config, "{'Path':'" + path + "'}"),
                  ask(&Store::get_config, "{'Path':'Device.Rules.'}"))
            << component;
        EXPECT_EQ(ask(&Store::get_data_model, "{'ParameterNames':['" + path + "'],'Level':0}"),
                  ask(&Store::get_data_model, "{'ParameterNames':['Device.Rules.'],'Level':0}"))
            << component;
    }
}

TEST_F(StoreTest, DataModelOfSeveralNamesStandsInTheModelsOrder) {
    auto model = [this](const std::string& names, const char* level) {
        return ask(&Store::get_data_model, "{'ParameterNames':[" + names + "],'Level':" + level + "}");
    };
    for (const char* level : {"0", "1", "-1"}) {
        std::string expected = model("'Device.Info','Device.Rules','Device.Rules.Rule.#template'", level);
        EXPECT_EQ(model("'Device.Rules.Rule.4','Device.Rules.','Device.Info','Device.Rules'", level),
                  expected);
    }
    std::string one = model("'Device.Rules.Rule'", "1");
    EXPECT_NE(one.find("'#template':{'#attr'"), std::string::npos);
    EXPECT_NE(one.find("'max_instance':{'#attr'"), std::string::npos);
    EXPECT_EQ(one.find("'Order'"), std::string::npos) << "what stands below is not asked for";
    EXPECT_EQ(one.find("'Count'"), std::string::npos) << "what stands beside is not asked for";
    EXPECT_EQ(model("'Device.Rules.Rule','Device.'", "-1"), model("'Device.'", "-1"));
}

TEST_F(StoreTest, DataModelOfMethodsAndSeveralNames) {
    JsonRef answer =
        json_of(ask(&Store::get_data_model,
                    "{'ParameterNames':['Device.Info.Ping','Device.Rules.Rule.1.index','Device.Info.']}"));
    json_t* device = json_object_get(json_object_get(answer, "Datamodel"), "Device");
    json_t* ping = json_object_get(json_object_get(device, "Info"), "Ping");
    EXPECT_TRUE(json_object_get(json_object_get(json_object_get(ping, "#input"), "Option"), "#template"));
    EXPECT_FALSE(json_object_get(ping, "#output"));
    EXPECT_FALSE(json_object_get(json_object_get(json_object_get(device, "Info"), "Reboot"), "#input"));
    json_t* rule = json_object_get(json_object_get(json_object_get(device, "Rules"), "Rule"), "#template");
    EXPECT_TRUE(json_object_get(json_object_get(rule, "index"), "#attr"));
    EXPECT_FALSE(json_object_get(rule, "order"));
}

TEST_F(StoreTest, Config) {
    const struct {
        const char* path;
        const char* expected;
    } rows[] = {
        {"Device.Rules.",
         "{'Device':{'Rules':{'Count':3,'Rule':{'1':{'Order':1,'Name':'first','order':1},'2':{'Order':2,'"
         "Name':"
         "'second','order':2},'4':{'Order':3,'Name':'fourth','order':3},'max_instance':4}}}}"},
        {"Device.Rules.Rule.#template.Name",
         "{'Device':{'Rules':{'Rule':{'1':{'Name':'first'},'2':{'Name':'second'},'4':{'Name':'fourth'}}}}}"},
        {"Device.Info.Name", "{'Device':{'Info':{'Name':'box'}}}"},
        {"Device.Hosts.Host.max_instance", "{'Device':{'Hosts':{'Host':{'max_instance':6}}}}"},
        {"Device.Info.Password", "{'Device':{'Info':{'Password':''}}}"},
        {"DataModelVersion", "{'DataModelVersion':'2.1'}"},
    };
    for (auto& row : rows)
        EXPECT_EQ(ask(&Store::get_config, std::string("{'Path':'") + row.path + "'}"),
                  std::string("{'Config':") + row.expected + "}");
    EXPECT_EQ(ask(&Store::get_config, "{'Path':'Device.Info.Reboot'}"), "9005 Device.Info.Reboot");
    EXPECT_EQ(ask(&Store::get_config, "{'Path':'Device.Info.Secret'}", user), "9001 Device.Info.Secret");
    EXPECT_EQ(
        ask(&Store::get_config, "{'Path':'Device.Info.'}", guest),
        "{'Config':{'Device':{'Info':{'Name':'box','Serial':'S1','UpTime':0,'Password':'','Private':''}}}}");
    EXPECT_EQ(
        ask(&Store::get_config, "{'Path':'.'}").find("{'Config':{'DataModelVersion':'2.1','Device':{'Info':"),
        0u);
    EXPECT_EQ(
        ask(&Store::get_config, "{'Path':'Device.Hosts.'}", guest),
        "{'Config':{'Device':{'Hosts':{'Host':{'1':{'Address':{'1':{},'2':{}},'Stats':{}},'2':{'Address':{},"
        "'Stats':{}},'5':{'Address':{},'Stats':{}}}}}}}");
}

TEST_F(StoreTest, LiveValues) {
    int reads = 0;
    store->set_live("Device.Info.UpTime", [&](const std::string& path) {
        EXPECT_EQ(path, "Device.Info.UpTime");
        return json_integer(++reads);
    });
    store->set_live("Device.Hosts.Host.*.Stats.Sent", [](const std::string& path) {
        return path == "Device.Hosts.Host.5.Stats.Sent" ? nullptr
                                                        : json_integer(static_cast<json_int_t>(path.size()));
    });
    store->set_live("Device.No.Such", [](const std::string&) { return json_true(); });
    EXPECT_EQ(value("Device.Info.UpTime"), "1");
    EXPECT_EQ(json_integer_value(store->value("Device.Info.UpTime")), 2);
    EXPECT_EQ(pairs(get("'Device.Hosts.Host.#template.Stats.'", admin)),
              "Device.Hosts.Host.1.Stats.Sent=30 Device.Hosts.Host.2.Stats.Sent=30 "
              "Device.Hosts.Host.5.Stats.Sent=7");
    EXPECT_TRUE(changes.empty());
    store->set_live("Device.Info.UpTime", [](const std::string&) { return json_integer(77); });
    EXPECT_EQ(value("Device.Info.UpTime"), "77");
}

TEST_F(StoreTest, InstancesOfAnObject) {
    EXPECT_EQ(store->instances("Device.Hosts.Host."), (std::vector<uint32_t>{1, 2, 5}));
    EXPECT_TRUE(store->instances("Device.Hosts.").empty());
    EXPECT_TRUE(store->instances("Device.Hosts.Host.1.").empty());
    EXPECT_TRUE(store->instances("Device.No.").empty());
    EXPECT_EQ(store->value("Device.Hosts."), nullptr);
    EXPECT_EQ(store->value("Device.Info.Reboot"), nullptr);
}

}  // namespace
