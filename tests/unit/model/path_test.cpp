// The grammar of path arguments, moving through the model, and paths that survive what happens to the cache.
#include "model/path.hpp"

#include <gtest/gtest.h>

#include "commands/navigate.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "model_daemon.hpp"
#include "ox_raii.hpp"

namespace {

class Paths : public testing::Test {
protected:
    ModelDaemon daemon;
    void SetUp() override {
        small_router(daemon);
        ASSERT_NE(dm_reload(), nullptr);
        cd_command("cd", nullptr);
        cd_command("cd", nullptr);
        daemon.take_requests();
    }
    void TearDown() override {
        path_free(&current_path);
        path_free(&previous_path);
        current_path = {};
        previous_path = {};
        dm_free();
    }
    static int cd(const char* path) {
        JsonRef args(json_pack("[s]", path));
        return cd_command("cd", args);
    }
    static std::string printed(int (*command)(const char*, json_t*), const char* name, json_t* args,
                               int* status) {
        testing::internal::CaptureStdout();
        *status = command(name, args);
        json_decref(args);
        fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }
};

struct Row {
    const char* from;
    const char* text;
    int status;
    const char* path;
};

TEST_F(Paths, Grammar) {
    const Row rows[] = {
        {"", "", 0, ""},
        {"", ":", 0, ""},
        {"", ".", 0, ""},
        {"", "..", 0, ""},
        {"Device.Hosts", "", 0, "Device.Hosts"},
        {"Device.Hosts", "..", 0, "Device.Hosts"},
        {"Device.Hosts", ":", 0, ""},
        {"", "Device", 0, "Device"},
        {"", ".Device", 0, "Device"},
        {"", "Device.", 0, "Device"},
        {"", "Device..Hosts", 0, "Device.Hosts"},
        {"", "device.deviceinfo", 0, "Device.DeviceInfo"},
        {"", ":DEVICE.HOSTS.host.1", 0, "Device.Hosts.Host.1"},
        {"Device.Hosts", "Host.1", 0, "Device.Hosts.Host.1"},
        {"Device.Hosts", ":Device.DeviceInfo", 0, "Device.DeviceInfo"},
        {"Device.Hosts.Host.1", "<", 0, "Device.Hosts.Host"},
        {"Device.Hosts.Host.1", "<<<", 0, "Device"},
        {"Device.Hosts.Host.1", "<<.<", 0, "Device"},
        {"Device.Hosts", "<<<<<<<<<<", 0, ""},
        {"Device.Hosts", "<.DeviceInfo", 0, "Device.DeviceInfo"},
        {"Device.Hosts.Host", "<x", -1, "Device.Hosts"},
        {"", "Device.Hosts.Host.*", 0, "Device.Hosts.Host.#template"},
        {"", "Device.Hosts.Host.*.ipaddress", 0, "Device.Hosts.Host.#template.IPAddress"},
        {"", "Device.Hosts.Host.**", -1, "Device.Hosts.Host"},
        {"", "Device.Hosts.*", -1, "Device.Hosts"},
        {"", "Device.Hosts.Host.99", 0, "Device.Hosts.Host.99"},
        {"", "Device.Hosts.Host.99999999999999999999", 0, "Device.Hosts.Host.99999999999999999999"},
        {"", "Device.Hosts.Host.999999999999999999999", -1, "Device.Hosts.Host"},
        {"", "Device.Hosts.Host.007", 0, "Device.Hosts.Host.007"},
        {"", "Device.Hosts.Host.1x", -1, "Device.Hosts.Host"},
        {"", "Device.Hosts.Host.#template", -1, "Device.Hosts.Host"},
        {"", "Device.Ping.#input", -1, "Device.Ping"},
        {"", "Device.#attr", -1, "Device"},
        {"", "Device.Nothing", -1, "Device"},
        {"", "Nothing.Device", -1, ""},
        {"", "DataModelVersion", -1, ""},
        {"Device.Hosts", "-", 0, ""},
        {"Device.Hosts", "-x", 0, ""},
        {"Device.Hosts", "-.Device", 0, "Device"},
        {"Device.Hosts", "Host.-.Device.DeviceInfo", 0, "Device.DeviceInfo"},
    };
    for (const Row& row : rows) {
        ASSERT_EQ(cd(":"), 0);
        ASSERT_EQ(cd(":"), 0);
        if (*row.from) {
            ASSERT_EQ(cd(row.from), 0) << row.from;
        }
        ScopedPath p;
        EXPECT_EQ(path_resolve(&p, row.text, true), row.status) << row.from << " + " << row.text;
        EXPECT_STREQ(p.path, row.path) << row.from << " + " << row.text;
    }
    ScopedPath p;
    EXPECT_EQ(path_resolve(&p, nullptr), -2);
}

TEST_F(Paths, InstanceNumbers) {
    struct {
        const char* text;
        int max;
        bool expected;
    } rows[] = {
        {"", -1, false},
        {"0", -1, true},
        {"007", -1, true},
        {"12x", -1, false},
        {"12x", 2, true},
        {"12x", 3, false},
        {"x", 0, false},
        {"-1", -1, false},
        {" 1", -1, false},
        {"12345678901234567890", -1, true},
        {"123456789012345678901", -1, false},
        {"123456789012345678901", 20, true},
        {"1", 5, true},
    };
    for (const auto& row : rows) EXPECT_EQ(is_instance_number(row.text, row.max), row.expected) << row.text;
}

TEST_F(Paths, FlagsFollowTheNode) {
    ScopedPath p;
    ASSERT_EQ(path_resolve(&p, "Device.Hosts.Host"), 0);
    EXPECT_TRUE(p.multi);
    EXPECT_FALSE(p.ordered);
    ASSERT_EQ(path_resolve(&p, "*"), 0);
    EXPECT_FALSE(p.multi);
    EXPECT_TRUE(p.via_template);
    ASSERT_EQ(path_resolve(&p, "<"), 0);
    EXPECT_TRUE(p.multi);
    EXPECT_TRUE(p.via_template);
    p.input_allowed = 1;
    NodePath copy;
    path_copy(&copy, &p);
    EXPECT_TRUE(copy.multi);
    EXPECT_TRUE(copy.input_allowed);
    EXPECT_FALSE(copy.via_template);
    EXPECT_FALSE(copy.heap_owned);
    EXPECT_EQ(json_array_size(copy.parents), json_array_size(p.parents));
    EXPECT_NE(copy.parents, p.parents);
    path_free(&copy);
    path_reset(&p);
    EXPECT_FALSE(p.multi);
    EXPECT_FALSE(p.input_allowed);
    EXPECT_TRUE(p.via_template);
    EXPECT_TRUE(path_is_root(&p));
    EXPECT_EQ(json_array_size(p.parents), 0u);
}

TEST_F(Paths, InputIsResolvedWhereAllowed) {
    ScopedPath p;
    p.input_allowed = 1;
    ASSERT_EQ(path_resolve(&p, "Device.Ping.#input.delay"), 0);
    EXPECT_STREQ(p.path, "Device.Ping.#input.Delay");
    ScopedPath q;
    q.input_allowed = 1;
    EXPECT_EQ(path_resolve(&q, "Device.Hosts.Host.#template"), -1);
}

TEST_F(Paths, PreviousKeepsAHeapRecord) {
    auto* p = static_cast<NodePath*>(malloc(sizeof(NodePath)));
    ASSERT_EQ(cd("Device.Hosts"), 0);
    path_copy(p, &current_path);
    p->heap_owned = 1;
    EXPECT_EQ(path_resolve(p, "-", true), 0);
    EXPECT_STREQ(p->path, "");
    EXPECT_TRUE(p->heap_owned);
    path_free(p);
}

TEST_F(Paths, LongTextsAreRefused) {
    std::string name(120, 'n');
    daemon.add("Device." + name + ".", R"({"type":"object"})");
    daemon.add("Device." + name + "." + name + ".", R"({"type":"object"})");
    std::string third = "Device." + name + "." + name + ".";
    daemon.add(third + "0123456789.", R"({"type":"object"})");   // 258 characters without the final dot
    daemon.add(third + "01234567890.", R"({"type":"object"})");  // 259
    third.pop_back();
    ScopedPath p;
    ASSERT_EQ(third.size(), 248u - 0u);
    ASSERT_EQ(path_resolve(&p, third.c_str()), 0);
    EXPECT_EQ(path_resolve(&p, "01234567890"), -1);
    EXPECT_EQ(strlen(p.path), 248u);
    EXPECT_EQ(path_push(&p, p.node, "123456789", 0, 0), 0);
    EXPECT_EQ(strlen(p.path), 258u);
    EXPECT_EQ(path_push(&p, p.node, "", 0, 0), -1);
    EXPECT_EQ(strlen(p.path), 258u);
    std::string huge(100000, 'x');
    EXPECT_EQ(path_resolve(&p, (":Device." + huge).c_str()), -1);
    EXPECT_EQ(path_resolve(&p, std::string(100000, '<').c_str()), 0);
    EXPECT_STREQ(p.path, "");
}

// An ordered rule may have a parameter Order beside the pseudo-parameter order.
TEST_F(Paths, ExactSpellingWinsOverAnotherCase) {
    daemon.add("Device.Firewall.Order", R"({"type":"int"})");
    daemon.add("Device.Firewall.order", R"({"type":"int"})");
    const char* rows[][2] = {{"Device.Firewall.order", "Device.Firewall.order"},
                             {"Device.Firewall.Order", "Device.Firewall.Order"},
                             {"Device.Firewall.ORDER", "Device.Firewall.Order"}};
    for (const auto& row : rows) {
        ScopedPath p;
        ASSERT_EQ(path_resolve(&p, row[0]), 0);
        EXPECT_STREQ(p.path, row[1]);
    }
}

TEST_F(Paths, ChangeDirectory) {
    int status;
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "-"), &status), ":\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[ss]", "a", "b"), &status), "syntax: cd [<path>]");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "Nope.x"), &status), "cd: Nope.x: no such node\n");
    EXPECT_EQ(status, -2);
    EXPECT_EQ(cd("device.hosts"), 0);
    EXPECT_STREQ(current_path.path, "Device.Hosts");
    EXPECT_STREQ(previous_path.path, "");
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "<x"), &status), "cd: <x: no such node\n");
    EXPECT_STREQ(current_path.path, "Device.Hosts");
    EXPECT_EQ(printed(pwd_command, "pwd", nullptr, &status), ":Device.Hosts\n");
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "-"), &status), ":\n");
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "-"), &status), ":Device.Hosts\n");
    EXPECT_STREQ(current_path.path, "Device.Hosts");
    EXPECT_EQ(cd("."), 0);
    EXPECT_STREQ(previous_path.path, "Device.Hosts");
    EXPECT_EQ(cd_command("cd", nullptr), 0);
    EXPECT_EQ(printed(pwd_command, "pwd", nullptr, &status), ":\n");
}

TEST_F(Paths, Up) {
    struct {
        const char* levels;
        const char* path;
    } rows[] = {{nullptr, "Device.Hosts.Host"},
                {"0", "Device.Hosts.Host"},
                {"x", "Device.Hosts.Host"},
                {"2", "Device.Hosts"},
                {"5", ""},
                {"2000000000", ""},
                {"-3", "Device.Hosts.Host.1"},
                {"99999999999999999999", ""}};
    for (const auto& row : rows) {
        ASSERT_EQ(cd(":Device.Hosts.Host.1"), 0);
        JsonRef args(row.levels ? json_pack("[s]", row.levels) : json_array());
        int status = up_command("up", args);
        EXPECT_EQ(status, 0);
        if (row.levels && strlen(row.levels) > 15) continue;  // what atoi makes of it is its own affair
        EXPECT_STREQ(current_path.path, row.path) << (row.levels ? row.levels : "none");
        EXPECT_STREQ(previous_path.path, "Device.Hosts.Host.1");
    }
}

TEST_F(Paths, WithoutAModelTextsStay) {
    dm_free();
    EXPECT_EQ(cd("Any.Thing"), 0);
    EXPECT_EQ(daemon.take_requests().size(), 0u);
    EXPECT_TRUE(path_is_root(&current_path));
}

TEST_F(Paths, PreviousIsFoundAgainAfterAReload) {
    ASSERT_EQ(cd("Device.Hosts.Host.*"), 0);
    ASSERT_EQ(cd(":Device"), 0);
    dm_identity_changed();
    EXPECT_STREQ(current_path.path, "");
    EXPECT_TRUE(path_is_root(&current_path));
    int status;
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "-"), &status), ":Device.Hosts.Host.#template\n");
    EXPECT_EQ(status, 0);
    EXPECT_STREQ(current_path.path, "Device.Hosts.Host.#template");
    EXPECT_TRUE(node_is_parameter(node_child_get(&current_path, "IPAddress")));
}

TEST_F(Paths, PreviousThatIsGoneAfterAReloadFails) {
    ASSERT_EQ(cd("Device.Hosts"), 0);
    ASSERT_EQ(cd(":"), 0);
    daemon.remove("Device.Hosts.");
    dm_reload();
    int status;
    EXPECT_EQ(printed(cd_command, "cd", json_pack("[s]", "-"), &status), "cd: -: no such node\n");
    EXPECT_EQ(status, -2);
}

// The current node lies below an object that is fetched anew: its node must not be released under it.
TEST_F(Paths, SurvivesARefetchAbove) {
    ASSERT_EQ(cd("Device.Hosts.Host.2"), 0);
    ASSERT_EQ(cd("."), 0);
    for (int i = 0; i < 3; ++i) {
        ScopedPath p;
        ASSERT_EQ(path_resolve(&p, "<.77"), 0);
        ScopedPath held;
        EXPECT_NE(node_child_get(&held, "IPAddress"), nullptr);
        ASSERT_EQ(path_resolve(&p, "<.78"), 0);
        EXPECT_NE(node_child_get(&held, "IPAddress"), nullptr);
    }
    paths_refresh();
    EXPECT_EQ(json_object_get(
                  json_object_get(json_object_get(json_object_get(dm_root, "Device"), "Hosts"), "Host"), "2"),
              current_path.node);
    EXPECT_NE(node_child_get(&current_path, "IPAddress"), nullptr);
    EXPECT_EQ(cd("<"), 0);
    EXPECT_TRUE(current_path.multi);
}

TEST_F(Paths, SurvivesThatItsInstanceIsGone) {
    ASSERT_EQ(cd("Device.Hosts.Host.2"), 0);
    daemon.remove("Device.Hosts.Host.2.");
    for (int i = 0; i < 2; ++i) {
        {
            ScopedPath p;
            ASSERT_EQ(path_resolve(&p, "<.77"), 0);
        }
        paths_refresh();
        EXPECT_STREQ(current_path.path, "Device.Hosts.Host.2");
        EXPECT_NE(node_child_get(&current_path, "IPAddress"), nullptr);
    }
    EXPECT_EQ(cd("<"), 0);
    EXPECT_EQ(cd("-"), 0);
    EXPECT_EQ(cd(":"), 0);
    EXPECT_EQ(cd(":"), 0);
    EXPECT_EQ(cd(":Device.Hosts.Host.1"), 0);
}

TEST_F(Paths, SurvivesADaemonThatForgetsEverything) {
    ASSERT_EQ(cd("Device.Hosts.Host.2"), 0);
    daemon.failing = true;
    {
        ScopedPath p;
        EXPECT_EQ(path_resolve(&p, "<.77"), -1);
    }
    for (int i = 0; i < 3; ++i) {
        paths_refresh();
        EXPECT_EQ(cd("IPAddress"), 0);
        EXPECT_EQ(cd("<"), 0);
    }
    EXPECT_EQ(cd(":"), 0);
    EXPECT_EQ(cd(":"), 0);
}

}  // namespace
