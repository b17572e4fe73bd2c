// Adding and deleting instances, their numbers, aliases, order and the references to them; configurations.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

using Lines = std::vector<std::string>;

TEST_F(StoreTest, AddGivesTheNextNumberAndAnAlias) {
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_EQ(value("Device.Net.Interface.3.Alias"), "'cpe-3'");
    EXPECT_EQ(value("Device.Net.Interface.3.Name"), "''");
    EXPECT_EQ(value("Device.Net.Interface.max_instance"), "3");
    EXPECT_EQ(value("Device.Net.InterfaceNumberOfEntries"), "3");
    EXPECT_EQ(changes, (Lines{"+Device.Net.Interface. 3", "Device.Net.InterfaceNumberOfEntries=3"}));
}

TEST_F(StoreTest, AnAliasThatIsTakenIsNotGivenAgain) {
    EXPECT_EQ(set("'Device.Net.Interface.1.Alias':'cpe-3'"), "{}");
    EXPECT_EQ(add("Device.Net.Interface"), "{'InstanceNumber':3}");
    EXPECT_EQ(value("Device.Net.Interface.3.Alias"), "'cpe-3-2'");
}

TEST_F(StoreTest, NumbersAreNeverGivenAgain) {
    EXPECT_EQ(add("Device.Rules.Rule."), "{'InstanceNumber':5}");
    EXPECT_EQ(del("Device.Rules.Rule.5."), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.max_instance"), "5");
    EXPECT_EQ(add("Device.Rules.Rule."), "{'InstanceNumber':6}");
}

TEST_F(StoreTest, WhatCannotBeAdded) {
    const struct {
        const char* name;
        const char* expected;
    } rows[] = {
        {"Device.Nothing.", "9005 Device.Nothing."},
        {"Device.Info.", "9005 Device.Info. has no instances"},
        {"Device.Info.Name", "9005 Device.Info.Name"},
        {"Device.Rules.Rule.1.", "9005 Device.Rules.Rule.1. has no instances"},
        {"Device.Rules.Rule.#template.", "9005 Device.Rules.Rule.#template."},
        {".", "9005 . has no instances"},
        {"Device.Hosts.Host.", "9001 Device.Hosts.Host. takes no new instances"},
    };
    for (auto& row : rows) EXPECT_EQ(add(row.name), row.expected);
    EXPECT_EQ(ask(&Store::add_object, "{'ObjectName':'Device.Rules.Rule.'}", user),
              "9001 only admin may add to Device.Rules.Rule.");
}

TEST_F(StoreTest, AFullObjectTakesNoMore) {
    add("Device.Net.Interface.");
    add("Device.Net.Interface.");
    EXPECT_EQ(add("Device.Net.Interface."), "9004 Device.Net.Interface. holds at most 4");
    EXPECT_EQ(value("Device.Net.Interface.max_instance"), "4");
}

TEST_F(StoreTest, WhatCannotBeDeleted) {
    const struct {
        const char* name;
        const char* expected;
    } rows[] = {
        {"Device.Rules.Rule.3.", "9005 Device.Rules.Rule.3."},
        {"Device.Rules.Rule.", "9005 Device.Rules.Rule. is no instance"},
        {"Device.Info.Name", "9005 Device.Info.Name"},
        {"Device.", "9005 Device. is no instance"},
        {"", "9005 the name is empty"},
        {"Device.Hosts.Host.1.", "9001 Device.Hosts.Host.1. cannot be deleted"},
    };
    for (auto& row : rows) EXPECT_EQ(del(row.name), row.expected);
    EXPECT_EQ(ask(&Store::delete_object, "{'ObjectName':'Device.Rules.Rule.1.'}", user),
              "9001 only admin may delete Device.Rules.Rule.1.");
}

TEST_F(StoreTest, DeletingClosesTheGapInTheOrder) {
    EXPECT_EQ(del("Device.Rules.Rule.1"), "{}");
    EXPECT_EQ(value("Device.Rules.Rule.2.order"), "1");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "2");
    EXPECT_EQ(changes, (Lines{"-Device.Rules.Rule.1. 1", "Device.Rules.Count=2",
                              "Device.Rules.Rule.2.Order=1", "Device.Rules.Rule.4.Order=2"}));
    EXPECT_EQ(add("Device.Rules.Rule."), "{'InstanceNumber':5}");
    EXPECT_EQ(value("Device.Rules.Rule.5.order"), "3");
}

TEST_F(StoreTest, ReferencesForbidFollowOrAreCleared) {
    EXPECT_EQ(del("Device.Net.Interface.1."),
              "9001 Device.Net.Bridge.Main refers to Device.Net.Interface.1.");
    EXPECT_TRUE(changes.empty());
    // Interface 2 is named by a route, which goes too, and stands in a list, which loses it.
    EXPECT_EQ(del("Device.Net.Interface.2."), "{}");
    EXPECT_EQ(value("Device.Net.Bridge.Ports"), "'Device.Net.Interface.1'");
    EXPECT_EQ(store->instances("Device.Net.Route."), (std::vector<uint32_t>{}));
    EXPECT_EQ(changes, (Lines{"-Device.Net.Route.1. 1", "Device.Net.Bridge.Ports='Device.Net.Interface.1'",
                              "-Device.Net.Interface.2. 2", "Device.Net.InterfaceNumberOfEntries=1"}));
    EXPECT_EQ(set("'Device.Net.Bridge.Main':''"), "{}");
    EXPECT_EQ(del("Device.Net.Interface.1."), "{}");
    EXPECT_EQ(value("Device.Net.Bridge.Ports"), "''");
}

TEST_F(StoreTest, TheDaemonAddsAndDeletesToo) {
    JsonRef values = json_of("{'Name':'new','Stats.Sent':9}");
    EXPECT_EQ(store->add_instance("Device.Hosts.Host.", values), 7u);
    EXPECT_EQ(value("Device.Hosts.Host.7.Stats.Sent"), "9");
    EXPECT_EQ(changes, (Lines{"+Device.Hosts.Host. 7", "Device.Hosts.HostNumberOfEntries=4"}));
    for (const char* bad : {"{'Name':5}", "{'Nothing':5}", "{'Stats.':5}", "{'Stats.Reset':5}"})
        EXPECT_EQ(store->add_instance("Device.Hosts.Host.", json_of(bad)), 0u) << bad;
    EXPECT_EQ(store->add_instance("Device.Hosts.Host.7.Address.", nullptr), 1u);
    EXPECT_EQ(store->add_instance("Device.Hosts.", nullptr), 0u);
    EXPECT_EQ(value("Device.Hosts.Host.max_instance"), "7");
    EXPECT_TRUE(store->delete_instance("Device.Hosts.Host.7."));
    EXPECT_FALSE(store->delete_instance("Device.Hosts.Host.7."));
    EXPECT_FALSE(store->delete_instance("Device.Hosts."));
}

TEST_F(StoreTest, ASnapshotBringsTheConfigurationBack) {
    set("'Device.Info.Name':'saved','Device.Info.Password':'deep','Device.Rules.Rule.4.index':1");
    add("Device.Net.Interface.");
    set("'Device.Net.Interface.3.Name':'dmz'");
    add("Device.Rules.Rule.");
    del("Device.Rules.Rule.5.");
    JsonRef snapshot(store->snapshot());
    EXPECT_EQ(text_of(snapshot.get()).find("Serial"), std::string::npos);
    EXPECT_EQ(text_of(snapshot.get()).find("Hosts"), std::string::npos);

    set("'Device.Info.Name':'later','Device.Info.Password':'x','Device.Rules.Rule.1.index':1");
    del("Device.Rules.Rule.2.");
    del("Device.Net.Interface.3.");
    add("Device.Rules.Rule.");
    store->set_value("Device.Info.Serial", json_string("S9"));
    changes.clear();
    std::string error;
    ASSERT_TRUE(store->restore(snapshot, error)) << error;
    std::sort(changes.begin(), changes.end());
    EXPECT_EQ(changes,
              (Lines{"+Device.Net.Interface. 3", "+Device.Rules.Rule. 2", "-Device.Rules.Rule.6. 6"}));
    EXPECT_EQ(value("Device.Info.Name"), "'saved'");
    EXPECT_STREQ(json_string_value(store->value("Device.Info.Password")), "deep");
    EXPECT_EQ(value("Device.Net.Interface.3.Name"), "'dmz'");
    EXPECT_EQ(value("Device.Net.Interface.2.Alias"), "'uplink'");
    EXPECT_EQ(store->instances("Device.Rules.Rule."), (std::vector<uint32_t>{1, 2, 4}));
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "1");
    EXPECT_EQ(value("Device.Rules.Rule.1.order"), "2");
    EXPECT_EQ(value("Device.Rules.Rule.2.order"), "3");
    EXPECT_EQ(value("Device.Rules.Rule.max_instance"), "6");
    EXPECT_EQ(value("Device.Info.Serial"), "'S9'");
    EXPECT_EQ(value("Device.Hosts.Host.5.Name"), "'say \\'hi\\''");

    // A daemon that starts anew comes back to the same place.
    auto fresh = Store::load(OBX_SOURCE_DIR "/tests/data/store_model.json", error);
    ASSERT_TRUE(fresh->restore(snapshot, error)) << error;
    JsonRef again(fresh->snapshot());
    EXPECT_TRUE(json_equal(again, snapshot)) << text_of(again.get());
    EXPECT_EQ(json_integer_value(fresh->value("Device.Rules.Rule.4.Order")), 1);
}

TEST_F(StoreTest, ASnapshotThatDoesNotFitChangesNothing) {
    const struct {
        const char* snapshot;
        const char* error;
    } rows[] = {
        {"[]", ".: must be a JSON object"},
        {"{'Device':5}", "Device.: must be a JSON object"},
        {"{'Device':{'Info':{'Name':'x','Nothing':1}}}", "Device.Info.Nothing: the model has no such name"},
        {"{'Device':{'Info':{'Name':'x','Reboot':1}}}", "Device.Info.Reboot: the model has no such name"},
        {"{'Device':{'Info':{'Name':'x'},'Types':{'Range':99}}}", "Device.Types.Range: must be -5 to 10"},
        {"{'Device':{'Info':{'Name':'x'},'Rules':{'Rule':{'0':{}}}}}",
         "Device.Rules.Rule.0: is no instance number"},
        {"{'Device':{'Info':{'Name':'x'},'Rules':{'Rule':{'x':{}}}}}",
         "Device.Rules.Rule.x: is no instance number"},
        {"{'Device':{'Info':{'Name':'x'},'Rules':{'Rule':{'1':{'order':'1'}}}}}",
         "Device.Rules.Rule.1.order: must be an integer"},
        {"{'Device':{'Info':{'Name':'x'},'Rules':{'Rule':{'max_instance':-1}}}}",
         "Device.Rules.Rule.max_instance: must be 0 to 4294967295"},
        {"{'Device':{'Net':{'Interface':{'1':{},'2':{},'3':{},'4':{},'5':{}}}}}",
         "Device.Net.Interface.: holds too many instances"},
    };
    for (auto& row : rows) {
        std::string error;
        EXPECT_FALSE(store->restore(json_of(row.snapshot), error)) << row.snapshot;
        EXPECT_EQ(error, row.error);
        EXPECT_EQ(value("Device.Info.Name"), "'box'");
    }
}

TEST_F(StoreTest, ResetGoesBackToTheModel) {
    set("'Device.Info.Name':'x','Device.Types.Int':5,'Device.Rules.Rule.4.index':1,'Device.Rules.Rule.1.Name'"
        ":'y'");
    add("Device.Rules.Rule.");
    del("Device.Rules.Rule.2.");
    JsonRef values = json_of("{'Name':'new'}");
    store->add_instance("Device.Hosts.Host.", values);
    changes.clear();
    store->reset_defaults({"Device.Info.Name", "Device.Hosts."});
    EXPECT_EQ(changes, (Lines{"-Device.Rules.Rule.5. 5", "+Device.Rules.Rule. 2"}));
    EXPECT_EQ(value("Device.Info.Name"), "'x'");
    EXPECT_EQ(value("Device.Hosts.Host.7.Name"), "'new'");
    EXPECT_EQ(value("Device.Types.Int"), "0");
    EXPECT_EQ(value("Device.Rules.Rule.1.Name"), "'first'");
    EXPECT_EQ(value("Device.Rules.Rule.2.order"), "2");
    EXPECT_EQ(value("Device.Rules.Rule.max_instance"), "4");
    store->reset_defaults({});
    EXPECT_EQ(value("Device.Info.Name"), "'box'");
    EXPECT_EQ(store->instances("Device.Hosts.Host."), (std::vector<uint32_t>{1, 2, 5}));
    std::string error;
    EXPECT_TRUE(store->validate(error)) << error;
}

TEST_F(StoreTest, OrderIsToldWhereNoParameterShowsIt) {
    add("Device.Queue.Job.");
    add("Device.Queue.Job.");
    changes.clear();
    EXPECT_EQ(set("'Device.Queue.Job.2.index':1"), "{}");
    EXPECT_EQ(changes, (Lines{"Device.Queue.Job.1.order=2", "Device.Queue.Job.2.order=1"}));
}

TEST_F(StoreTest, TenThousandInstances) {
    for (int i = 0; i < 10000; i++) ASSERT_EQ(add("Device.Rules.Rule.").substr(0, 18), "{'InstanceNumber':");
    EXPECT_EQ(value("Device.Rules.Rule.10004.Order"), "10003");
    changes.clear();
    EXPECT_EQ(set("'Device.Rules.Rule.10004.index':10002"), "{}");
    EXPECT_EQ(changes, (Lines{"Device.Rules.Rule.10003.Order=10003", "Device.Rules.Rule.10004.Order=10002"}));
    for (int number = 5; number < 25; number++)
        EXPECT_EQ(del("Device.Rules.Rule." + std::to_string(number)), "{}");
    EXPECT_EQ(value("Device.Rules.Count"), "9983");
    EXPECT_EQ(value("Device.Rules.Rule.10004.Order"), "9982");
}

}  // namespace
