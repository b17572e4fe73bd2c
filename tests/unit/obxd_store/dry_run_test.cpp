// Dry runs: everything is checked, nothing is changed, and the answer is that of the request itself.

#include "store_fixture.hpp"

using obxd::Store;

namespace {

struct DryRun : StoreTest {
    JsonRef before;

    void SetUp() override {
        StoreTest::SetUp();
        before.reset(store->snapshot());
    }
    void TearDown() override {
        JsonRef after(store->snapshot());
        EXPECT_TRUE(json_equal(before, after)) << text_of(before.get()) << "\n" << text_of(after.get());
        EXPECT_TRUE(changes.empty());
    }
    std::string set(const std::string& list, bool raw = false, const obxd::Caller* caller = nullptr) {
        JsonRef params = json_of("{'ParameterList':[" + list + "],'DryRun':true}");
        return text_of(store->set_values(caller ? *caller : admin, params, raw));
    }
    std::string add(const std::string& object, const std::string& list = "") {
        std::string values = list.empty() ? "" : ",'ParameterList':[" + list + "]";
        return ask(&Store::add_object, "{'ObjectName':'" + object + "'" + values + ",'DryRun':true}");
    }
    std::string del(const std::string& object) {
        return ask(&Store::delete_object, "{'ObjectName':'" + object + "','DryRun':true}");
    }
};

TEST_F(DryRun, SettingChecksEverything) {
    const struct {
        const char* list;
        const char* expected;
    } rows[] = {
        {"{'Name':'Device.Info.Name','Value':'x'}", "{}"},
        {"", "{}"},
        {"{'Name':'Device.Info.Name','Value':'x'},{'Name':'Device.Rules.Rule.4.index','Value':1}", "{}"},
        {"{'Name':'Device.Info.Name','Value':5}",
         "9003 nothing was set {'Device.Info.Name':{'code':9006,'message':'must be a string'}}"},
        {"{'Name':'Device.Nothing','Value':5}",
         "9003 nothing was set {'Device.Nothing':{'code':9005,'message':'there is no such parameter'}}"},
        {"{'Name':'Device.Info.Private','Value':'x'}",
         "9003 nothing was set {'Device.Info.Private':{'code':9001,'message':'only system may set it'}}"},
        {"{'Name':'Device.Net.Interface.1.Name','Value':'wan'}",
         "9003 nothing was set {'Device.Net.Interface.1.Name':{'code':9007,'message':'has the same Name as "
         "Device.Net.Interface.2.'}}"},
        {"{'Name':'Device.Net.Bridge.Main','Value':'Device.Net.Interface.9'}",
         "9003 nothing was set {'Device.Net.Bridge.Main':{'code':9007,'message':'names nothing that exists: "
         "Device.Net.Interface.9'}}"},
        {"{'Name':'Device.Rules.Rule.4.index','Value':9}",
         "9003 nothing was set {'Device.Rules.Rule.4.index':{'code':9007,'message':'must be 1 to 3'}}"},
        {"{'Name':'Device.Info.Name'}", "9003 ParameterList holds what has no Name and Value"},
    };
    for (auto& row : rows) EXPECT_EQ(set(row.list), row.expected) << row.list;
    EXPECT_EQ(set("{'Name':'Device.Types.Int','Value':'17'}", true), "{}");
    EXPECT_EQ(set("{'Name':'Device.Types.Int','Value':'x'}", true),
              refusal("Device.Types.Int", 9006, "must be an integer"));
}

TEST_F(DryRun, KeysThatChangePlacesMay) {
    EXPECT_EQ(set("{'Name':'Device.Net.Interface.1.Name','Value':'wan'},"
                  "{'Name':'Device.Net.Interface.2.Name','Value':'lan'}"),
              "{}");
}

TEST_F(DryRun, AddingUsesNoNumberUp) {
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_EQ(add("Device.Rules.Rule.", "{'Name':'Name','Value':'x'},{'Name':'index','Value':1}"),
              "{'InstanceNumber':5}");
    EXPECT_EQ(value("Device.Net.Interface.max_instance"), "2");
    EXPECT_EQ(value("Device.Rules.Rule.4.order"), "3");
    EXPECT_EQ(value("Device.Rules.Count"), "3");
}

TEST_F(DryRun, AddingChecksEverything) {
    const struct {
        const char *table, *list, *expected;
    } rows[] = {
        {"Device.Nothing.", "", "9005 Device.Nothing."},
        {"Device.Hosts.Host.", "", "9001 Device.Hosts.Host. takes no new instances"},
        {"Device.Net.Interface.", "{'Name':'Name','Value':'lan'}",
         "9003 nothing was added {'Name':{'code':9007,'message':'has the same Name as "
         "Device.Net.Interface.1.'}}"},
        {"Device.Net.Interface.", "{'Name':'Status','Value':'Up'}",
         "9003 nothing was added {'Status':{'code':9008,'message':'is read-only'}}"},
        {"Device.Net.Interface.", "{'Name':'Name','Value':1}",
         "9003 nothing was added {'Name':{'code':9006,'message':'must be a string'}}"},
        {"Device.Net.Interface.", "{'Name':'','Value':1}",
         "9003 nothing was added {'':{'code':9005,'message':'there is no such parameter'}}"},
        {"Device.Rules.Rule.", "{'Name':'','Value':1}",
         "9003 nothing was added {'':{'code':9005,'message':'there is no such parameter'}}"},
        {"Device.Net.Interface.", "{'Name':'Device.Info.Name','Value':'x'}",
         "9003 nothing was added {'Device.Info.Name':{'code':9005,'message':'there is no such parameter'}}"},
        {"Device.Net.Route.", "{'Name':'Interface','Value':'Device.Net.Interface.9'}",
         "9003 nothing was added {'Interface':{'code':9007,'message':'names nothing that exists: "
         "Device.Net.Interface.9'}}"},
        {"Device.Net.Route.", "5", "9003 ParameterList holds what has no Name and Value"},
    };
    for (auto& row : rows) EXPECT_EQ(add(row.table, row.list), row.expected) << row.table << row.list;
    EXPECT_EQ(ask(&Store::add_object, "{'ObjectName':'Device.Rules.Rule.','DryRun':true}", user),
              "9001 only admin may add to Device.Rules.Rule.");
}

TEST_F(DryRun, DeletingChecksReferences) {
    EXPECT_EQ(del("Device.Net.Interface.2."), "{}");
    EXPECT_EQ(del("Device.Rules.Rule.1."), "{}");
    EXPECT_EQ(del("Device.Net.Interface.1."),
              "9001 Device.Net.Bridge.Main refers to Device.Net.Interface.1.");
    EXPECT_EQ(del("Device.Rules.Rule.9."), "9005 Device.Rules.Rule.9.");
}

TEST_F(DryRun, IsAskedForByTrueAlone) {
    for (const char* flag : {"1", "'true'", "[]", "'yes'"}) {
        std::string rest = std::string(",'DryRun':") + flag + "}";
        const char* expected = "9003 DryRun is neither true nor false";
        EXPECT_EQ(text_of(store->set_values(admin, json_of("{'ParameterList':[]" + rest), false)), expected);
        EXPECT_EQ(ask(&Store::add_object, "{'ObjectName':'Device.Rules.Rule.'" + rest), expected);
        EXPECT_EQ(ask(&Store::delete_object, "{'ObjectName':'Device.Rules.Rule.1.'" + rest), expected);
    }
}

TEST_F(StoreTest, AddingWithFirstValues) {
    EXPECT_EQ(ask(&Store::add_object,
                  "{'ObjectName':'Device.Rules.Rule.','DryRun':false,'ParameterList':["
                  "{'Name':'Name','Value':'new'},{'Name':'index','Value':1}]}"),
              "{'InstanceNumber':5}");
    EXPECT_EQ(value("Device.Rules.Rule.5.Name"), "'new'");
    EXPECT_EQ(value("Device.Rules.Rule.5.order"), "1");
    ASSERT_GE(changes.size(), 2u);
    EXPECT_EQ(changes.front(), "+Device.Rules.Rule. 5");
    EXPECT_EQ(changes.back(), "Device.Rules.Rule.5.Name='new'");
}

TEST_F(StoreTest, ARowWhoseValuesDoNotFitLeavesNothing) {
    EXPECT_EQ(ask(&Store::add_object,
                  "{'ObjectName':'Device.Net.Interface.','ParameterList':["
                  "{'Name':'Name','Value':'dmz'},{'Name':'Alias','Value':'1 x'}]}")
                  .substr(0, 24),
              "9003 nothing was added {");
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(store->instances("Device.Net.Interface."), (std::vector<uint32_t>{1, 2}));
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
}

}  // namespace
