// Completion: candidates by command and word, values, arguments; many of them; Ctrl-C.
#include "commands/completion.hpp"

#include <signal.h>

#include <thread>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include "commands/table.hpp"
#include "complete/values.hpp"
#include "completion_fixture.hpp"
#include "cpu_time.hpp"
#include "ox_conf_path.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"

namespace {

#ifdef __SANITIZE_ADDRESS__
struct AcceptLeaks {
    AcceptLeaks() { __lsan_disable(); }
    ~AcceptLeaks() { __lsan_enable(); }
};
#else
struct AcceptLeaks {};
#endif

TEST_F(Complete, CommandNames) {
    Texts all;
    for (size_t i = 0; i < COMMAND_COUNT; ++i) all.push_back(command_table[i].name);
    EXPECT_EQ(all.size(), 37u);
    EXPECT_EQ(complete(""), all);
    EXPECT_EQ(complete("   "), all);
    EXPECT_EQ(complete("l"), Texts({"login", "logout", "login_if_guest", "ls", "lua", "luarecord"}));
    EXPECT_EQ(complete("L"), Texts());
    EXPECT_EQ(complete("de"), Texts({"debug", "del"}));
    EXPECT_EQ(complete("GetP"), Texts());
    EXPECT_EQ(complete("cat Device", 2), Texts({"cat", "catree"}));
    EXPECT_EQ(complete("nothing "), Texts());
    EXPECT_EQ(complete("nothing D"), Texts());
}

TEST_F(Complete, Words) {
    const Texts modes = {"Bridge", "Router"};
    struct {
        const char* line;
        Texts expected;
    } rows[] = {
        {"color ", {"autocomplete", "hint", "prompt", "root-prompt"}},
        {"color pr", {"prompt"}},
        {"color hint ", {}},
        {"debug ", {"disabled", "permanent", "temporary"}},
        {"download ", {"config", "file", "firmware"}},
        {"download fi", {"file", "firmware"}},
        {"download Fi", {}},
        {"opt ", {"autocomplete", "hint"}},
        {"opt hint ", {"off", "on"}},
        {"opt hint on ", {}},
        {"reboot ", {"-f", "Bridge", "Router"}},
        {"reboot -f ", modes},
        {"reboot Router ", {"-f"}},
        {"reboot Router -f ", {}},
        {"reboot B", {"Bridge"}},
        {"reboot -", {"-f"}},
        {"reset ", modes},
        {"reset R", {"Router"}},
        {"reset Router ", {}},
        {"upload ", {"config"}},
        {"upload x", {}},
        {"help ", {}},
        {"pwd ", {}},
        {"order Device.Hosts.Host.1 ", {}},
        {"login ", {}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
}

TEST_F(Complete, Paths) {
    const Texts device = {"DeviceInfo.", "Firewall.", "Hosts.", "Ping."};
    const Texts writable = {"DeviceMode", "Enable", "Flag", "Level", "ProvisioningCode", "Ref"};
    struct {
        const char* from;
        const char* line;
        Texts expected;
    } rows[] = {
        {":", "cd ", {"Device."}},
        {":", "cd Dev", {"Device."}},
        {":", "cd dEV", {"Device."}},
        {":", "cd :D", {":Device."}},
        {":", "cd :", {":Device."}},
        {":", "ls -l Dev", {"Device."}},
        {":", "cat Device.", device},
        {":", "cat device.", device},
        {":", "cat Device..", device},
        {":", "cat Device.de", {"DeviceInfo."}},
        {":", "cat Device.x", {}},
        {":", "cat Nothing.", {}},
        {":", "cat Nothing.D", {}},
        {":", "cat Device.DeviceInfo.up", {"UpTime"}},
        {":", "GetParameterValues Device.DeviceInfo.up", {"UpTime"}},
        {":", "cd Device.DeviceInfo.", {}},
        {":", "add Device.DeviceInfo.U", {}},
        {":", "tree Device.H", {"Hosts."}},
        {":", "take Device.H", {"Hosts."}},
        {":", "touch Device.H", {"Hosts."}},
        {":", "set Device.DeviceInfo.", writable},
        {":", "catree Device.DeviceInfo.U", {"UpTime"}},
        {":", "get Device.DeviceInfo.U", {"UpTime"}},
        {":", "del Device.Hosts.Host.1", {"1."}},
        {":", "rm Device.Hosts.Host.", {"1.", "2.", "max_instance"}},
        {":", "attr Device.DeviceInfo.U", {"UpTime"}},
        {":", "info Device.DeviceInfo.U", {"UpTime"}},
        {":", "select Device.DeviceInfo.U", {"UpTime"}},
        {":", "order Device.Firewall.Rule.", {"1.", "order."}},
        {":", "execute Device.P", {"Ping."}},
        {":", "cat Device.Hosts.Host.*.", {"IPAddress"}},
        {":", "cat Device.H Device.F", {"Firewall."}},
        {"Device.Hosts", "cd ", {"Host."}},
        {"Device.Hosts", "cd h", {"Host."}},
        {"Device.Hosts", "cd :D", {":Device."}},
        {"Device.Hosts", "cd <.", device},
        {"Device.Hosts", "cd <", {}},
        {"Device.Hosts", "cd -.", {"Device."}},
        {"Device.Hosts", "cd -.Dev", {"Device."}},
        {"Device.Hosts", "cd :Device.F", {"Firewall."}},
        {":", "cat \"Device.H", {"Hosts."}},
    };
    for (const auto& row : rows) {
        cd(":");
        cd(row.from);
        std::string before = current_path.path;
        EXPECT_EQ(complete(row.line), row.expected) << row.from << " " << row.line;
        EXPECT_EQ(before, current_path.path);
    }
}

TEST_F(Complete, Values) {
    struct {
        const char* line;
        Texts expected;
    } rows[] = {
        {"set Device.DeviceInfo.Enable=", {"true", "false"}},
        {"set Device.DeviceInfo.Enable=t", {"true"}},
        {"set Device.DeviceInfo.Enable=\"t", {"true"}},
        {"set Device.DeviceInfo.Enable=T", {}},
        {"set device.deviceinfo.flag=f", {"false"}},
        {"set Device.DeviceInfo.UpTime=", {}},
        {"set Device.DeviceInfo.ProvisioningCode=", {}},
        {"set Device.DeviceInfo.DeviceMode=", {"Router", "Bridge", ""}},
        {"set Device.DeviceInfo.DeviceMode=R", {"Router"}},
        {"set Device.DeviceInfo.Level=1", {"1", "12"}},
        {"set Device.DeviceInfo.Ref=", {"Device."}},
        {"set Device.DeviceInfo.Ref=:", {":Device."}},
        {"set Device.DeviceInfo.Ref=Device.Ho", {"Hosts."}},
        {"set Device.DeviceInfo.Ref=Nothing.", {}},
        {"set Device.Hosts=", {}},
        {"set Device.Ping=", {}},
        {"set Nothing=", {}},
        {"set =", {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(complete(row.line), row.expected) << row.line;
    }
}

// What is inserted must be read back by the tokenizer as the value or the name.
TEST_F(Complete, WhatNeedsQuotes) {
    daemon.add(
        "Device.DeviceInfo.Report",
        R"({"type":"string","access":"readWrite","enum":["1 Queued","1\"","2#","it's","a\\b","a=b c",""]})");
    daemon.add("Device.DeviceInfo.Kind",
               R"({"type":"string","access":"readWrite","enum":["Old box","Plain"]})");
    daemon.add("Odd top.", R"({"type":"object"})");
    daemon.add("Device.Odd name.", R"({"type":"object"})");
    daemon.add("Device.Odd name.In side", R"({"type":"string"})");
    dm_reload();
    struct {
        const char* line;
        Texts expected;
    } rows[] = {
        {"set Device.DeviceInfo.Report=",
         {"\"1 Queued\"", "1\\\"", "2\\#", "it\\'s", "a\\\\b", "\"a=b c\"", ""}},
        {"set Device.DeviceInfo.Report=1", {"1\" Queued\"", "1\\\""}},
        {"set Device.DeviceInfo.Report=\"1 ", {"\"1 Queued\""}},
        {"set Device.DeviceInfo.Report=\"1 Q", {"\"1 Queued\""}},
        {"set Device.DeviceInfo.Report='1 Q", {"'1 Queued'"}},
        {"set Device.DeviceInfo.Report=1\" Qu", {"1\" Queued\""}},
        {"set \"Device.DeviceInfo.Report=1 Q", {"1 Queued\""}},
        {"set Device.DeviceInfo.Level=1 Device.DeviceInfo.Report=2", {"2\\#"}},
        {"set Device.DeviceInfo.Report=a=b\" ", {"a=b\" c\""}},
        {"set Device.DeviceInfo.Kind=P", {"Plain"}},
        {"cat Device.Odd", {"Odd\" name."}},
        {"cat \"Device.odd n", {"odd name."}},
        {"cat \"Device.Odd name.i", {"in side\""}},
        {"cat \"Device.Odd name\".", {"\"In side\""}},
        {"cat Odd", {"Odd\" top."}},
        {"cat :Odd", {":Odd\" top."}},
        {"cat :", {":Device.", ":Odd\" top."}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
    EXPECT_EQ(hint("set Device.DeviceInfo.Kind=O"), "ld\" box\"");
    EXPECT_EQ(hint("set Device.DeviceInfo.Kind=Old\" b"), "ox\"");
}

TEST_F(Complete, InstancesByNumberAndNamesByBytes) {
    for (const char* number : {"10", "9", "100"})
        daemon.add(std::string("Device.Hosts.Host.") + number + ".", R"({"type":"object"})");
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "9.", "10.", "100."}));
    EXPECT_EQ(complete("cat Device.Hosts.Host."), Texts({"1.", "2.", "9.", "10.", "100.", "max_instance"}));
    EXPECT_EQ(complete("cd Device.Hosts.Host.1"), Texts({"1.", "10.", "100."}));
}

TEST_F(Complete, MethodArguments) {
    struct {
        const char* from;
        const char* line;
        Texts expected;
    } rows[] = {
        {":", "execute Device.Ping ", {"Delay", "Destination", "Force"}},
        {":", "execute Device.Ping De", {"Delay", "Destination"}},
        {":", "execute :Device.Ping fo", {"Force"}},
        {":", "execute device.ping Delay=1 F", {"Force"}},
        {":", "execute Device.Ping Force=t", {"true"}},
        {"Device", "execute Ping Des", {"Destination"}},
        {":", "execute Device.Hosts D", {}},
        {":", "execute Nothing D", {}},
    };
    for (const auto& row : rows) {
        cd(row.from);
        std::string before = current_path.path;
        EXPECT_EQ(complete(row.line), row.expected) << row.line;
        EXPECT_EQ(before, current_path.path);
        EXPECT_FALSE(current_path.input_allowed);
    }
}

TEST_F(Complete, DeviceModesAreRelativeToTheCurrentNode) {
    JsonRef modes(parameter_enumeration("Device.DeviceInfo.DeviceMode"));
    EXPECT_EQ(json_array_size(modes), 3u);
    cd("Device");
    EXPECT_EQ(parameter_enumeration("Device.DeviceInfo.DeviceMode"), nullptr);
    EXPECT_EQ(complete("reboot "), Texts({"-f"}));
}

TEST_F(Complete, WithoutAModel) {
    dm_free();
    event("Add", "Device.Hosts.Host.", 3);
    for (const char* line : {"cd ", "cd Device.", "set A.b=", "execute A.b c", "reset "}) {
        EXPECT_EQ(complete(line), Texts()) << line;
    }
}

TEST_F(Complete, CtrlCAbandonsASlowCompletion) {
    signal(SIGINT, SIG_IGN);
    daemon.silent = true;
    pthread_t main_thread = pthread_self();
    std::thread presser([&] {
        while (daemon.take_requests().empty()) usleep(1000);
        usleep(100000);
        pthread_kill(main_thread, SIGINT);
    });
    long long start = ox_wait_now_ms();
    JsonRef found(json_array());
    complete_line("cat Device.Ho", 13, found);
    EXPECT_LT(ox_wait_now_ms() - start, 4000);  // and not the five seconds of a time-out
    EXPECT_EQ(json_array_size(found), 0u);
    presser.join();
    struct sigaction action;
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    EXPECT_FALSE(interrupt_armed);
    EXPECT_EQ(ox_jrpcapi_get_timeout(request_channel), 5000);
    daemon.silent = false;
    EXPECT_EQ(complete("cat Device.Ho"), Texts({"Hosts."}));
}

/// `count` instances more behind those that there are.
void add_hosts(json_t* host, int count) {
    int last = static_cast<int>(json_object_size(host));
    for (int i = last + 1; i <= last + count; ++i) {
        json_object_set_new(host, std::to_string(i).c_str(),
                            json_pack("{s:{s:s},s:b}", "#attr", "type", "object", "#fetched", 1));
    }
}

TEST_F(Complete, TenThousandInstancesCostTenTimesAThousand) {
    complete("cd Device.Hosts.Host.");
    json_t* host = ox_conf_find_branch(dm_root, "Device.Hosts.Host");
    auto all = [this] { complete("cd Device.Hosts.Host."); };
    auto one = [this] { complete("cd Device.Hosts.Host.999"); };
    auto hints = [this] {
        for (int i = 0; i < 20; ++i) EXPECT_EQ(hint("cd Device.Hosts.Host.1"), "(none)");
    };
    add_hosts(host, 1000);
    double few[] = {least_cpu_seconds(all), least_cpu_seconds(one), least_cpu_seconds(hints)};
    add_hosts(host, 9000);
    double many[] = {least_cpu_seconds(all), least_cpu_seconds(one), least_cpu_seconds(hints)};
    EXPECT_GE(complete("cd Device.Hosts.Host.").size(), 10000u);
    EXPECT_EQ(complete("cd Device.Hosts.Host.9999").size(), 1u);
    for (int i = 0; i < 3; i++) EXPECT_LT(many[i], few[i] * 30) << i;
}

}  // namespace
