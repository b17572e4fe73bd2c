// Hints: what Tab would add to the line.
#include "completion_fixture.hpp"
#include "model/cache.hpp"
#include "ox_jrpcmsg.hpp"
#include "session/request.hpp"

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

TEST_F(Complete, HintsComeWithTheAnswers) {
    daemon.take_requests();
    for (const char* line : {"c", "cat ", "cat D", "cat Device.", "cat Device.H", "cat Device.Ho"})
        EXPECT_TRUE(hint_at_once(line) == "(none)" || !strchr(line, '.')) << line;
    answers_come();
    EXPECT_EQ(hint_at_once("cat Device.Ho"), "sts.");
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device. 1"}));
}

TEST_F(Complete, OneRequestAtATimeGoesOutForHints) {
    daemon.take_requests();
    EXPECT_EQ(hint("cat Device.Hosts.Host.2.I"), "PAddress");
    Texts asked = {"GetParameterAttributes Device. 1", "GetParameterAttributes Device.Hosts. 1",
                   "GetParameterAttributes Device.Hosts.Host. 1", "GetParameterNames Device.Hosts.Host.",
                   "GetParameterAttributes Device.Hosts.Host.1. Device.Hosts.Host.2. -1"};
    EXPECT_EQ(daemon.take_requests(), asked);
}

/// However many of the requests for a table are answered when Tab comes, none is sent twice.
TEST_F(Complete, TabGoesOnWithWhatAHintHasBegun) {
    for (int answered = 0; answered <= 3; ++answered) {
        dm_reload();
        complete("cat Device.Hosts.");
        daemon.take_requests();
        for (int i = 0; i < answered; ++i) {
            hint_at_once("cat Device.Hosts.Host.2.");
            answers_come();
        }
        hint_at_once("cat Device.Hosts.Host.2.");
        EXPECT_EQ(complete("cat Device.Hosts.Host.2."), Texts({"IPAddress"}));
        EXPECT_EQ(daemon.take_requests().size(), 3u) << answered;
    }
}

TEST_F(Complete, AnotherRequestDoesNotHarmWhatAHintHasBegun) {
    daemon.take_requests();
    hint_at_once("cat Device.Ho");
    MsgRef other(ox_jrpcmsg_create_new("Other", nullptr));
    request_exec(other, 5000);
    EXPECT_EQ(other->error_code, 0);
    hint_continue();
    EXPECT_EQ(hint_at_once("cat Device.Ho"), "sts.");
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device. 1", "Other"}));
}

TEST_F(Complete, WhatAnotherUserWasAnsweredIsDropped) {
    hint_at_once("cat Device.Ho");
    daemon.remove("Device.Hosts.");
    dm_reload();
    EXPECT_EQ(request_channel->underway, nullptr);
    EXPECT_EQ(hint("cat Device.Ho"), "(none)");
    EXPECT_EQ(hint("cat Device.F"), "irewall.");
}

TEST_F(Complete, ALostDaemonEndsTheHintsAndNothingElse) {
    daemon.silent = true;
    hint_at_once("cat Device.Ho");
    daemon.die();
    answers_come();
    EXPECT_EQ(hint("cat Device.Ho"), "(none)");
    ModelDaemon second;
    small_router(second);
    EXPECT_EQ(complete("cat Device.Ho"), Texts({"Hosts."}));
    EXPECT_EQ(hint("cat Device.Ho"), "sts.");
}

/// A table of 1,200 rows, of which all is answered and a hint has taken in a part.
class HalfTable : public Complete {
protected:
    enum { ROWS = 1200 };
    void SetUp() override {
        Complete::SetUp();
        daemon.add("Device.Big.", R"({"type":"object","multi":true})");
        for (int number = 1; number <= ROWS; ++number)
            daemon.add("Device.Big." + std::to_string(number) + ".", R"({"type":"object"})");
        complete("cat Device.");
        hint_at_once("cat Device.Big.1199");
        do {
            while (request_channel->underway) ox_jrpcapi_pump(20);
        } while (!hint_continue());
        EXPECT_LE(children(), 501u);
        daemon.take_requests();
    }
    static size_t children() {
        return json_object_size(json_object_get(json_object_get(dm_root, "Device"), "Big"));
    }
};

TEST_F(HalfTable, RowsAreTakenInStepByStep) {
    int steps = 0;
    for (bool more = true; more; ++steps) {
        size_t before = children();
        more = hint_continue();
        EXPECT_LE(children(), before + 501);
    }
    EXPECT_GE(steps, 2);
    EXPECT_GT(children(), size_t{ROWS});
    EXPECT_EQ(hint_at_once("cat Device.Big.1199"), ".");
    EXPECT_EQ(daemon.take_requests(), Texts());
}

TEST_F(HalfTable, KeysGoOnMeanwhile) {
    EXPECT_EQ(hint_at_once("cat Device.Fire"), "wall.");
    hint_at_once("cat Device.Big.2");
    EXPECT_EQ(hint("cat Device.Big.1199"), ".");
    EXPECT_EQ(daemon.take_requests(), Texts());
}

TEST_F(HalfTable, TabTakesTheRest) {
    EXPECT_EQ(complete("cat Device.Big.").size(), size_t{ROWS});
    EXPECT_EQ(daemon.take_requests(), Texts());
    EXPECT_FALSE(hint_continue());
}

TEST_F(HalfTable, AChangeMeanwhileHasAllAskedForAgain) {
    daemon.remove("Device.Big.7.");
    event("Delete", "Device.Big.7.", 7);
    EXPECT_EQ(complete("cat Device.Big.").size(), size_t{ROWS} - 1);
    EXPECT_EQ(complete("cat Device.Big.7."), Texts());
}

TEST_F(HalfTable, AnotherModelLeavesNothingOfIt) {
    daemon.remove("Device.Big.");
    dm_reload();
    EXPECT_FALSE(hint_continue());
    EXPECT_EQ(complete("cat Device.Big."), Texts());
}

TEST_F(Complete, ARefusedHintIsNotAskedForAgain) {
    daemon.failing = true;
    daemon.take_requests();
    for (const char* line : {"cat Device.H", "cat Device.Ho"}) EXPECT_EQ(hint(line), "(none)");
    EXPECT_EQ(daemon.take_requests().size(), 1u);
}

}  // namespace
