// Keys that no two instances share.

#include "store_fixture.hpp"

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

}  // namespace
