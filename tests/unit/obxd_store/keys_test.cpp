// Keys that no two instances share.

#include <time.h>

#include "store_fixture.hpp"

using obxd::Store;

namespace {

TEST_F(StoreTest, UniqueKeys) {
    EXPECT_EQ(set("'Device.Net.Interface.1.Name':'wan'"),
              refusal("Device.Net.Interface.1.Name", 9007, "has the same Name as Device.Net.Interface.2."));
    EXPECT_EQ(value("Device.Net.Interface.1.Name"), "'lan'");
    EXPECT_TRUE(changes.empty());
    // Swapping two names in one request is no clash.
    EXPECT_EQ(set("'Device.Net.Interface.1.Name':'wan','Device.Net.Interface.2.Name':'lan'"), "{}");
    EXPECT_EQ(value("Device.Net.Interface.1.Name"), "'wan'");
    // Values that nobody has set yet do not clash.
    EXPECT_EQ(set("'Device.Net.Interface.1.Name':'','Device.Net.Interface.2.Name':''"), "{}");
    EXPECT_EQ(add("Device.Net.Route."), "{'InstanceNumber':2}");
    EXPECT_EQ(set("'Device.Net.Route.2.Metric':5"), "{}");
    EXPECT_EQ(set("'Device.Net.Route.2.Dest':'default'"), "{}");
    EXPECT_EQ(set("'Device.Net.Route.2.Metric':0"),
              refusal("Device.Net.Route.2.Metric", 9007, "has the same Dest, Metric as Device.Net.Route.1."));
    EXPECT_EQ(set("'Device.Net.Route.1.Metric':9,'Device.Net.Route.2.Metric':9"),
              "9003 nothing was set {'Device.Net.Route.1.Metric':{'code':9007,'message':'has the same Dest, "
              "Metric as "
              "Device.Net.Route.2.'},'Device.Net.Route.2.Metric':{'code':9007,'message':'has the same Dest, "
              "Metric as "
              "Device.Net.Route.1.'}}");
}

std::string same_name(int one, int other) {
    return "'Device.Net.Interface." + std::to_string(one) +
           ".Name':{'code':9007,'message':'has the same Name as Device.Net.Interface." +
           std::to_string(other) + ".'}";
}

TEST_F(StoreTest, EachClashOfKeysIsNamed) {
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':4}");
    EXPECT_EQ(set("'Device.Net.Interface.3.Name':'wan','Device.Net.Interface.4.Name':'lan'"),
              "9003 nothing was set {" + same_name(3, 2) + "," + same_name(4, 1) + "}");
    EXPECT_EQ(
        set("'Device.Net.Interface.4.Name':'x','Device.Net.Interface.2.Name':'x',"
            "'Device.Net.Interface.3.Name':'x'"),
        "9003 nothing was set {" + same_name(4, 2) + "," + same_name(2, 3) + "," + same_name(3, 2) + "}");
}

TEST_F(StoreTest, KeysThatClashAlreadyLeaveTheOthersChecked) {
    // A model may be loaded so.
    EXPECT_TRUE(store->set_value("Device.Net.Interface.2.Name", json_string("lan")));
    for (int number : {3, 4}) EXPECT_NE(add("Device.Net.Interface."), "") << number;
    EXPECT_EQ(set("'Device.Net.Interface.3.Name':'x'"), "{}");
    EXPECT_EQ(set("'Device.Net.Interface.4.Name':'x'"), "9003 nothing was set {" + same_name(4, 3) + "}");
    EXPECT_EQ(set("'Device.Net.Interface.4.Name':'lan'"), "9003 nothing was set {" + same_name(4, 1) + "}");
    EXPECT_EQ(set("'Device.Net.Interface.2.Name':'wan'"), "{}");
}

TEST_F(StoreTest, KeysFollowWhatComesAndGoes) {
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_EQ(set("'Device.Net.Interface.3.Name':'x'"), "{}");
    EXPECT_EQ(del("Device.Net.Interface.3."), "{}");
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':4}");
    EXPECT_EQ(set("'Device.Net.Interface.4.Name':'x'"), "{}");
    EXPECT_EQ(set("'Device.Net.Interface.4.Name':'y'"), "{}");
    EXPECT_EQ(set("'Device.Net.Interface.2.Name':'x'"), "{}");
    // What was refused leaves nothing behind, what was not set neither.
    EXPECT_EQ(set("'Device.Net.Interface.2.Name':'y'"), "9003 nothing was set {" + same_name(2, 4) + "}");
    EXPECT_EQ(set("'Device.Net.Interface.4.Name':'z'"), "{}");
    EXPECT_EQ(set("'Device.Net.Interface.2.Name':'y'"), "{}");
    // The saved configuration brings back what was there, without the others.
    std::string error;
    JsonRef saved(store->snapshot());
    EXPECT_EQ(del("Device.Net.Interface.2."), "{}");
    EXPECT_EQ(set("'Device.Net.Interface.4.Name':'y'"), "{}");
    EXPECT_TRUE(store->restore(saved, error)) << error;
    EXPECT_EQ(set("'Device.Net.Interface.2.Name':'z'"), "9003 nothing was set {" + same_name(2, 4) + "}");
    store->reset_defaults({});
    EXPECT_EQ(set("'Device.Net.Interface.1.Name':'z'"), "{}");
    EXPECT_EQ(set("'Device.Net.Interface.1.Name':'wan'"), "9003 nothing was set {" + same_name(1, 2) + "}");
}

TEST_F(StoreTest, AKeyMayHoldWhatIsComputed) {
    int read = 0;
    store->set_live("Device.Net.Interface.*.Name", [&](const std::string& path) {
        read++;
        return json_string(path.find(".1.") == std::string::npos ? "other" : "one");
    });
    std::string error;
    EXPECT_TRUE(store->validate(error)) << error;
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_FALSE(store->validate(error));
    EXPECT_EQ(error, "Device.Net.Interface.3.: has the same Name as Device.Net.Interface.2.");
    EXPECT_GT(read, 0);
}

TEST_F(StoreTest, AGeneratedAliasIsFree) {
    EXPECT_EQ(set("'Device.Net.Interface.1.Alias':'cpe-3','Device.Net.Interface.2.Alias':'cpe-3-2'"), "{}");
    EXPECT_EQ(add("Device.Net.Interface."), "{'InstanceNumber':3}");
    EXPECT_EQ(value("Device.Net.Interface.3.Alias"), "'cpe-3-3'");
}

/// Seconds of the processor's time that adding `count` rows and naming each takes.
double growth(Store& store, int count) {
    const obxd::Caller root{"root", "system", true};
    clock_t start = clock();
    JsonRef table = json_of("{'ObjectName':'Device.T.'}");
    for (int i = 0; i < count; i++) {
        JsonRef added(store.add_object(root, table).result.release());
        std::string row = std::to_string(json_integer_value(json_object_get(added, "InstanceNumber")));
        JsonRef params = json_of("{'ParameterList':[{'Name':'Device.T." + row + ".Name','Value':'row" + row +
                                 "'},{'Name':'Device.T." + row + ".Port','Value':" + row + "}]}");
        EXPECT_EQ(text_of(store.set_values(root, params, false)), "{}");
    }
    return static_cast<double>(clock() - start) / CLOCKS_PER_SEC;
}

TEST(StoreKeys, ARowCostsTheSameInALongTable) {
    std::string error;
    std::unique_ptr<Store> store = store_of(
        "{'schema':{'Device':{'T':{'#attr':{'multi':true,'access':'readWrite','keys':[['Name'],['Port','Name'"
        "]]},"
        "'Alias':{'type':'Alias','access':'readWrite','default':'cpe'},"
        "'Name':{'type':'string','access':'readWrite','default':''},"
        "'Port':{'type':'unsignedInt','access':'readWrite','default':0}}}}}",
        error);
    ASSERT_TRUE(store) << error;
    growth(*store, 200);
    double early = growth(*store, 800);
    growth(*store, 6200);
    double late = growth(*store, 800);
    EXPECT_LT(late, early * 3 + 0.01);  // looking at all rows costs more than ten times as much
}

}  // namespace
