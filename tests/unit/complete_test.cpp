// Completion and hints: candidates by command and word, values, arguments, files, folded model changes.
#include "complete/complete.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>

#include "main/command_table.hpp"
#include "model/metadata.hpp"
#include "model/path.hpp"
#include "model_daemon.hpp"
#include "ox_confapi.hpp"
#include "ox_wait.hpp"
#include "session/interrupt.hpp"

namespace {

#ifdef __SANITIZE_ADDRESS__
struct AcceptLeaks {
    AcceptLeaks() { __lsan_disable(); }
    ~AcceptLeaks() { __lsan_enable(); }
};
#else
struct AcceptLeaks {};
#endif

using Texts = std::vector<std::string>;

Texts texts(const json_t* list) {
    Texts out;
    size_t index;
    json_t* item;
    json_array_foreach(list, index, item) out.push_back(json_string_value(item));
    return out;
}

Texts complete(const std::string& line, int cursor = -1) {
    JsonRef found(json_array());
    testing::internal::CaptureStdout();
    complete_line(line.c_str(), cursor < 0 ? static_cast<int>(line.size()) : cursor, found);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << line;
    return texts(found);
}

std::string hint(const char* line) {
    CharsRef text(hint_line(line));
    return text ? text.get() : "(none)";
}

class Complete : public testing::Test {
protected:
    ModelDaemon daemon;
    void SetUp() override {
        small_router(daemon);
        complete_set_commands(command_table, COMMAND_COUNT, command_lookup);
        interrupt_init();
        ASSERT_NE(dm_reload(), nullptr);
        cd_command("cd", nullptr);
    }
    void TearDown() override {
        json_decref(pending_model_events);
        pending_model_events = nullptr;
        path_free(&current_path);
        path_free(&previous_path);
        current_path = {};
        previous_path = {};
        dm_free();
    }
    static void cd(const char* path) {
        JsonRef args(json_pack("[s]", path));
        ASSERT_EQ(cd_command("cd", args), 0);
    }
    static void event(const char* action, const char* path, int number) {
        if (!pending_model_events) pending_model_events = json_array();
        json_array_append_new(pending_model_events, json_pack("{s:s,s:s,s:i}", "Action", action, "Path", path,
                                                              "InstanceNumber", number));
    }
    /// The requests since the last call that are about this name.
    long asked(const char* name) {
        Texts requests = daemon.take_requests();
        return std::count_if(requests.begin(), requests.end(),
                             [&](const std::string& r) { return r.find(name) != std::string::npos; });
    }
};

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
    EXPECT_EQ(json_array_size(device_modes()), 3u);
    cd("Device");
    EXPECT_EQ(device_modes(), nullptr);
    EXPECT_EQ(complete("reboot "), Texts({"-f"}));
}

TEST_F(Complete, WithoutAModel) {
    dm_free();
    event("Add", "Device.Hosts.Host.", 3);
    for (const char* line : {"cd ", "cd Device.", "set A.b=", "execute A.b c", "reset "}) {
        EXPECT_EQ(complete(line), Texts()) << line;
    }
}

TEST_F(Complete, FoldsModelChanges) {
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2."}));
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    daemon.add("Device.Hosts.Host.3.IPAddress", R"({"type":"string"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.take_requests();
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
    EXPECT_EQ(pending_model_events, nullptr);
    EXPECT_EQ(daemon.take_requests(), Texts({"GetParameterAttributes Device.Hosts.Host.3 -1"}));
    EXPECT_EQ(complete("cat Device.Hosts.Host.3."), Texts({"IPAddress"}));
    EXPECT_TRUE(daemon.take_requests().empty());
    event("Delete", "Device.Hosts.Host.3.", 3);
    event("Delete", "Device.Hosts.Host.1.", 1);
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"2."}));
    EXPECT_TRUE(daemon.take_requests().empty());
}

TEST_F(Complete, FoldsOnlyWhatTheCacheHolds) {
    event("Add", "Device.Hosts.Host.", 3);
    event("Delete", "Device.Firewall.Rule.1.", 1);
    event("Add", "Nothing.", 3);
    json_array_append_new(pending_model_events, json_integer(7));
    json_array_append_new(pending_model_events, json_pack("{s:s,s:s}", "Action", "Add", "Path", "Device."));
    json_array_append_new(pending_model_events,
                          json_pack("{s:i,s:s,s:i}", "Action", 1, "Path", "", "InstanceNumber", 1));
    event("Add", "", -5);
    event("Delete", "", 0);
    event("Delete", "....", 0);
    daemon.take_requests();
    EXPECT_EQ(complete("cd D"), Texts({"Device."}));
    EXPECT_EQ(asked("Host.3"), 0);
    // Nothing was known below it, so it is still fetched whole.
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2."}));
    EXPECT_NE(complete("cat Device.Hosts.Host.*."), Texts());
}

TEST_F(Complete, FoldsAnInstanceThatCameAndWent) {
    complete("cd Device.Hosts.Host.");
    event("Add", "Device.Hosts.Host.", 3);
    event("Add", "Device.Hosts.Host.", 4);
    event("Delete", "Device.Hosts.Host.3.", 3);
    event("Delete", "Device.Hosts.Host.2.", 2);
    event("Add", "Device.Hosts.Host.", 2);
    daemon.add("Device.Hosts.Host.4.", R"({"type":"object"})");
    daemon.take_requests();
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "4."}));
    EXPECT_EQ(asked("Host.3"), 0);
}

TEST_F(Complete, AFailedFoldIsMadeUpForByTheNextListing) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.failing = true;
    complete("cd D");
    daemon.failing = false;
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
}

TEST_F(Complete, TheCurrentNodeSurvivesItsRemoval) {
    cd("Device.Hosts.Host.2");
    event("Delete", "Device.Hosts.Host.2.", 2);
    EXPECT_EQ(complete("cat <."), Texts({"1.", "max_instance"}));
    EXPECT_EQ(complete("cat "), Texts({"IPAddress"}));
    EXPECT_EQ(hint("cat I"), "PAddress");
    EXPECT_STREQ(current_path.path, "Device.Hosts.Host.2");
}

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

TEST_F(Complete, HintsLeaveEventsOfASlowDaemonQueued) {
    complete("cd Device.Hosts.Host.");
    daemon.add("Device.Hosts.Host.3.", R"({"type":"object"})");
    event("Add", "Device.Hosts.Host.", 3);
    daemon.delay_ms = 400;
    EXPECT_EQ(hint("cd Device.Hosts.Host.3"), "(none)");
    long long start = ox_wait_now_ms();
    for (int i = 0; i < 20; ++i) hint("cd Device.Ho");
    EXPECT_LT(ox_wait_now_ms() - start, 100);
    EXPECT_NE(pending_model_events, nullptr);
    daemon.delay_ms = 0;
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2.", "3."}));
}

TEST_F(Complete, CtrlCAbandonsASlowCompletion) {
    signal(SIGINT, SIG_IGN);
    daemon.delay_ms = 600;
    pthread_t main_thread = pthread_self();
    pthread_t presser;
    pthread_create(
        &presser, nullptr,
        [](void* target) -> void* {
            usleep(100000);
            pthread_kill(*static_cast<pthread_t*>(target), SIGINT);
            return nullptr;
        },
        &main_thread);
    long long start = ox_wait_now_ms();
    JsonRef found(json_array());
    {
        [[maybe_unused]] AcceptLeaks what_the_jump_loses;
        complete_line("cat Device.Ho", 13, found);
    }
    EXPECT_LT(ox_wait_now_ms() - start, 500);
    EXPECT_EQ(json_array_size(found), 0u);
    pthread_join(presser, nullptr);
    struct sigaction action;
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    EXPECT_FALSE(interrupt_armed);
    EXPECT_EQ(ox_jrpcapi_get_timeout(request_channel), 5000);
    daemon.delay_ms = 0;
    EXPECT_EQ(complete("cat Device.Ho"), Texts({"Hosts."}));
}

TEST_F(Complete, TenThousandInstances) {
    complete("cd Device.Hosts.Host.");
    json_t* host = ox_conf_find_branch(dm_root, "Device.Hosts.Host");
    for (int i = 1; i <= 10000; ++i) {
        json_object_set_new(host, std::to_string(i).c_str(),
                            json_pack("{s:{s:s},s:b}", "#attr", "type", "object", "#fetched", 1));
    }
    long long start = ox_wait_now_ms();
    EXPECT_EQ(complete("cd Device.Hosts.Host.").size(), 10000u);
    EXPECT_EQ(complete("cd Device.Hosts.Host.9999").size(), 1u);
    EXPECT_LT(ox_wait_now_ms() - start, 200);
    start = ox_wait_now_ms();
    for (int i = 0; i < 100; ++i) EXPECT_EQ(hint("cd Device.Hosts.Host.1"), "(none)");
    EXPECT_LT(ox_wait_now_ms() - start, 100);
}

TEST_F(Complete, FoldsManyChangesInLinearTime) {
    complete("cd Device.Hosts.Host.");
    for (int i = 3; i < 10000; ++i) {
        event("Add", "Device.Hosts.Host.", i);
        event("Delete", ("Device.Hosts.Host." + std::to_string(i) + ".").c_str(), i);
    }
    long long start = ox_wait_now_ms();
    EXPECT_EQ(complete("cd Device.Hosts.Host."), Texts({"1.", "2."}));
    EXPECT_LT(ox_wait_now_ms() - start, 1000);
}

// --- files

class CompleteFiles : public Complete {
protected:
    std::string old_directory;
    std::string directory;
    std::string old_path;
    void SetUp() override {
        Complete::SetUp();
        char name[] = "/var/tmp/obxfilesXXXXXX";
        directory = mkdtemp(name);
        CharsRef cwd(getcwd(nullptr, 0));
        old_directory = cwd.get();
        old_path = getenv("PATH");
        ASSERT_EQ(chdir(directory.c_str()), 0);
    }
    void TearDown() override {
        setenv("PATH", old_path.c_str(), 1);
        ASSERT_EQ(chdir(old_directory.c_str()), 0);
        EXPECT_EQ(system(("rm -rf " + directory).c_str()), 0);
        Complete::TearDown();
    }
    void file(const std::string& name, int mode = 0644) {
        FILE* f = fopen((directory + "/" + name).c_str(), "w");
        ASSERT_NE(f, nullptr) << name;
        fclose(f);
        chmod((directory + "/" + name).c_str(), static_cast<mode_t>(mode));
    }
    void folder(const std::string& name) { ASSERT_EQ(mkdir((directory + "/" + name).c_str(), 0755), 0); }
};

TEST_F(CompleteFiles, Names) {
    file("fw.bin");
    file("fw.txt");
    file("other");
    file(".hidden");
    folder("sub");
    file("sub/inner");
    std::string absolute = "upgrade " + directory + "/su";
    struct {
        std::string line;
        Texts expected;
    } rows[] = {
        {"upgrade ", {".hidden", "fw.bin", "fw.txt", "other", "sub/"}},
        {"upgrade fw.b", {"fw.bin"}},
        {"upgrade FW", {}},
        {"upgrade x", {}},
        {"upgrade sub/", {"inner"}},
        {"upgrade ./sub/in", {"inner"}},
        {"upgrade nothing/", {}},
        {absolute, {"sub/"}},
        {"download firmware fw", {"fw.bin", "fw.txt"}},
        {"download firmware fw.bin f", {}},
        {"upload config o", {"other"}},
        {"record ", {".hidden", "abort", "fw.bin", "fw.txt", "other", "sub/"}},
        {"record a", {"abort"}},
        {"luarecord o", {"other"}},
        {"sh ls o", {"other"}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
    EXPECT_EQ(hint("upgrade fw.b"), "in");
    EXPECT_EQ(hint("upgrade fw."), "(none)");
    EXPECT_EQ(hint("upgrade sub/"), "inner");
    EXPECT_EQ(hint("upgrade sub/inn"), "er");
    EXPECT_EQ(hint("record ab"), "ort");
}

// What is inserted must be read back by the tokenizer as the name.
TEST_F(CompleteFiles, NamesThatNeedQuotes) {
    file("my file.bin");
    file("it's");
    file("say \"hi\"");
    file("back\\slash");
    file("#hash");
    file("h\xc3\xa4user \xe2\x82\xac");
    file("bad\x01name");
    file("no\xffutf8");
    folder("a dir");
    file("a dir/in side");
    struct {
        const char* line;
        Texts expected;
    } rows[] = {
        {"upgrade my", {"my\" file.bin\""}},
        {"upgrade \"my", {"\"my file.bin\""}},
        {"upgrade \"my fi", {"\"my file.bin\""}},
        {"upgrade 'my fi", {"'my file.bin'"}},
        {"upgrade my\" fi", {"my\" file.bin\""}},
        {"upgrade i", {"it\\'s"}},
        {"upgrade 'i", {"'it\\'s'"}},
        {"upgrade \"i", {"\"it's\""}},
        {"upgrade sa", {"say\" \\\"hi\\\"\""}},
        {"upgrade bac", {"back\\\\slash"}},
        {"upgrade \\#", {"\\#hash"}},
        {"upgrade h\xc3\xa4", {"h\xc3\xa4user\" \xe2\x82\xac\""}},
        {"upgrade ba", {"back\\\\slash"}},
        {"upgrade no", {}},
        {"upgrade a", {"a\" dir/"}},
        {"upgrade a\" dir/", {"in side\""}},
        {"upgrade \"a dir/in s", {"in side\""}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
    EXPECT_EQ(hint("upgrade my"), "\" file.bin\"");
    EXPECT_EQ(hint("upgrade \"my fi"), "le.bin\"");
    EXPECT_EQ(hint("upgrade \"a dir/in s"), "ide\"");
}

TEST_F(CompleteFiles, Programs) {
    folder("one");
    folder("two");
    file("one/lister", 0755);
    file("two/lister", 0755);
    file("two/linker", 0755);
    file("two/lipsum", 0644);
    folder("two/lib");
    file("one/lib", 0755);
    file("local");
    setenv("PATH", (directory + "/one:" + directory + "/two:/nonexistent::" + std::string(5000, 'x')).c_str(),
           1);
    EXPECT_EQ(complete("sh l"), Texts({"lib", "lib/", "linker", "lister"}));
    EXPECT_EQ(complete("sh lis"), Texts({"lister"}));
    EXPECT_EQ(hint("sh lis"), "ter");
    EXPECT_EQ(complete("sh lister l"), Texts({"local"}));
    unsetenv("PATH");
    EXPECT_EQ(complete("sh l"), Texts());
}

TEST_F(CompleteFiles, WithoutALine) {
    file("fw.bin");
    JsonRef words(json_pack("[ss]", "upgrade", "fw"));
    JsonRef found(json_array());
    file_complete(1, words, found, 1);
    EXPECT_EQ(texts(found), Texts({"fw.bin"}));
    file_complete(7, nullptr, found, 1);
    EXPECT_EQ(texts(found), Texts({"fw.bin", "fw.bin"}));
}

}  // namespace
