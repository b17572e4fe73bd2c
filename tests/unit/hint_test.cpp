// Hints: what Tab would add to the line.
#include "complete_fixture.hpp"
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
