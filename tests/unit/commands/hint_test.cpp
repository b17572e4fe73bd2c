// Hints: what Tab would add to the line.
#include "completion_fixture.hpp"
#include "ox_wait.hpp"

namespace {

TEST_F(Complete, Hints) {
    complete("cat Device.DeviceInfo.");
    struct {
        const char* line;
        const char* expected;
    } rows[] = {
        {"", "(none)"},
        {"pw", "d"},
        {"l", "(none)"},
        {"pwd", ""},
        {"nothing", "(none)"},
        {"cd ", "Device."},
        {"cd Dev", "ice."},
        {"cd DEV", "ice."},
        {"cd :", "Device."},
        {"cd :d", "evice."},
        {"cat Device.", "(none)"},
        {"cat Device.Ho", "sts."},
        {"cat Device.DeviceInfo.U", "pTime"},
        {"cat \"Device.Ho", "sts."},
        {"set Device.DeviceInfo.Enable=", "(none)"},
        {"set Device.DeviceInfo.Enable=t", "rue"},
        {"set Device.DeviceInfo.Enable=\"t", "rue"},
        {"set Device.DeviceInfo.Ref=", "Device."},
        {"set Device.DeviceInfo.Ref=Device.Ho", "sts."},
        {"color p", "rompt"},
        {"color root-", "prompt"},
        {"opt hint of", "f"},
        {"reboot -", "f"},
        {"reboot -f R", "outer"},
        {"execute Device.Ping F", "orce"},
    };
    for (const auto& row : rows) EXPECT_EQ(hint(row.line), row.expected) << row.line;
    EXPECT_EQ(hint_line(nullptr), nullptr);
}

TEST_F(Complete, HintsFollowChangesOfTheModel) {
    complete("cat Device.Hosts.Host.");
    EXPECT_EQ(hint("cd Device.Hosts.Host."), "(none)");
    event("Delete", "Device.Hosts.Host.2.", 2);
    EXPECT_EQ(hint("cd Device.Hosts.Host."), "1.");
    EXPECT_EQ(hint("cat Device.Hosts.Host.1.N"), "(none)");
    daemon.add("Device.Hosts.Host.1.New", R"({"type":"string"})");
    event("Delete", "Device.Hosts.Host.1.", 1);
    event("Add", "Device.Hosts.Host.", 1);
    EXPECT_EQ(hint("cat Device.Hosts.Host.1.N"), "ew");
}

TEST_F(Complete, HintsFollowTheCurrentNode) {
    complete("cat Device.Hosts.Host.");
    cd("Device.Hosts.Host");
    EXPECT_EQ(hint("cd <.Ho"), "st.");
    cd("<");
    EXPECT_EQ(hint("cd <.Ho"), "sts.");
    cd(":Device.DeviceInfo");
    EXPECT_EQ(hint("cat :Device.Hosts.Ho"), "st.");
    cd(":Device");
    EXPECT_EQ(hint("cat :Device.Hosts.Ho"), "st.");
}

TEST_F(Complete, HintsBelowThePreviousPathFollowIt) {
    complete("cat Device.Hosts.Host.");
    complete("cat Device.DeviceInfo.");
    cd("Device.Hosts");
    cd(":Device");
    hint("cat -.H");
    EXPECT_EQ(hint("cat -.H"), "ost.");
    EXPECT_EQ(hint("cat -.U"), "(none)");
    cd(":Device.DeviceInfo");
    cd(":Device");
    EXPECT_EQ(hint("cat -.U"), "pTime");
    EXPECT_EQ(hint("cat -.Ho"), "(none)");
}

TEST_F(Complete, HintsDoNotWaitForASlowDaemon) {
    daemon.delay_ms = 400;
    long long start = ox_wait_now_ms();
    EXPECT_EQ(hint("cat Device.Ho"), "(none)");
    EXPECT_LT(ox_wait_now_ms() - start, 350);
    start = ox_wait_now_ms();
    for (int i = 0; i < 20; ++i) EXPECT_EQ(hint("cat Device.Hos"), "(none)");
    EXPECT_LT(ox_wait_now_ms() - start, 100);
    EXPECT_EQ(complete("cat Device.Ho"), Texts({"Hosts."}));
    EXPECT_EQ(hint("cat Device.Ho"), "sts.");
}

}  // namespace
