#include "main/options.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

/// One parse of a command line, with what it printed.
class Parsed {
public:
    explicit Parsed(Words words) : words_(std::move(words)) {
        for (std::string& word : words_) argv_.push_back(word.data());
        argv_.push_back(nullptr);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        status = options_parse(&options, static_cast<int>(words_.size()), argv_.data());
        fflush(stdout);
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
    }
    ~Parsed() { options_free(&options); }
    Parsed(const Parsed&) = delete;
    Parsed& operator=(const Parsed&) = delete;

    Words args() const {
        Words result;
        size_t index;
        json_t* word;
        json_array_foreach(options.args, index, word) result.emplace_back(json_string_value(word));
        return result;
    }
    std::vector<uint32_t> groups() const { return {options.groups.begin(), options.groups.end()}; }

    StartOptions options = {};
    int status;
    std::string out;
    std::string err;

private:
    Words words_;
    std::vector<char*> argv_;
};

constexpr const char* USAGE =
    "Ombrix Management System client.\n"
    "Usage: obxc [options]\n"
    "\n"
    "Options:\n"
    "\t-r, --request <name> [<params>]     Proceed request.\n"
    "\t-n, --notify <name> [<params>]      Send notify.\n"
    "\t-e, --event <id> [<params>]         Send event.\n"
    "\t-l, --listen                        Listen for incoming events (specify as -g).\n"
    "\t    --raw <json-msg>                Send raw JSON-RPC message.\n"
    "\t-t  --timeout <seconds>             Timeout for send raw JSON-RPC message\n"
    "\t-s, --script <path-to-script>       Proceed script file.\n"
    "\t-S, --lua-script <path-to-script>   Proceed Lua script file.\n"
    "\t-g, --groups <gr1>[,<gr2>,..,<grN>] Join selected groups.\n"
    "\t    --ssl                           Use SSL layer.\n"
    "\t-c, --config <path>                 Path to config file (default is \"$HOME/.local/obxc/config\").\n"
    "\t-u, --unixpath <path>               UNIX socket path to connect (default is \"/var/run/obxd.sock\").\n"
    "\t-a  --auth [login:password|token]   Authorization data.\n"
    "\t-h, --help                          Print this help message.\n"
    "\t-v, --version                       Display obxc version.\n";

TEST(Options, NothingGivenIsTheInteractiveMode) {
    Parsed p({"obxc"});
    EXPECT_EQ(p.status, -1);
    EXPECT_EQ(p.options.mode, MODE_INTERACTIVE);
    EXPECT_STREQ(p.options.mode_name, "interactive");
    EXPECT_EQ(p.options.target, nullptr);
    EXPECT_EQ(p.options.unix_path, nullptr);
    EXPECT_EQ(p.options.host, nullptr);
    EXPECT_EQ(p.options.config_path, nullptr);
    EXPECT_FALSE(p.options.use_ssl);
    EXPECT_EQ(p.args(), Words());
    EXPECT_EQ(p.out + p.err, "");
}

TEST(Options, Modes) {
    const struct {
        Words words;
        int mode;
        const char* name;
        const char* target;
        const char* script;
        Words args;
    } rows[] = {
        {{"obxc", "-r", "get", "a", "b"}, MODE_REQUEST, "request", "get", nullptr, {"a", "b"}},
        {{"obxc", "--request=get"}, MODE_REQUEST, "request", "get", nullptr, {}},
        {{"obxc", "a", "-r", "get", "--", "-l"}, MODE_REQUEST, "request", "get", nullptr, {"a", "-l"}},
        {{"obxc", "-n", "x"}, MODE_NOTIFY, "notify", "x", nullptr, {}},
        {{"obxc", "--notify", "x"}, MODE_NOTIFY, "notify", "x", nullptr, {}},
        {{"obxc", "-e", "7", "{}"}, MODE_EVENT, "event", nullptr, nullptr, {"{}"}},
        {{"obxc", "-l"}, MODE_LISTEN, "listen", nullptr, nullptr, {}},
        {{"obxc", "--listen"}, MODE_LISTEN, "listen", nullptr, nullptr, {}},
        {{"obxc", "x", "--raw", "{}", "y"}, MODE_RAW, "raw", nullptr, nullptr, {"{}"}},
        {{"obxc", "-s", "path"}, MODE_SCRIPT, "script", nullptr, nullptr, {"path"}},
        {{"obxc", "--script=path", "x"}, MODE_SCRIPT, "script", nullptr, "path", {"x"}},
        {{"obxc", "--script", "path"}, MODE_SCRIPT, "script", nullptr, nullptr, {"path"}},
        {{"obxc", "-S", "path", "x"}, MODE_SCRIPT_LUA, "script-lua", nullptr, "path", {"x"}},
        {{"obxc", "--lua-script", "path"}, MODE_SCRIPT_LUA, "script-lua", nullptr, "path", {}},
        {{"/usr/bin/obxc_interpreter", "path"}, MODE_SCRIPT, "interactive", nullptr, nullptr, {"path"}},
        {{"obxc_lua", "path", "x"}, MODE_SCRIPT_LUA, "interactive", nullptr, nullptr, {"path", "x"}},
        {{"obxc_lua/obxc"}, MODE_INTERACTIVE, "interactive", nullptr, nullptr, {}},
    };
    for (const auto& row : rows) {
        Parsed p(row.words);
        SCOPED_TRACE(testing::PrintToString(row.words));
        EXPECT_EQ(p.status, -1);
        EXPECT_EQ(p.options.mode, row.mode);
        EXPECT_STREQ(p.options.mode_name, row.name);
        EXPECT_STREQ(p.options.target, row.target);
        EXPECT_STREQ(p.options.script_path, row.script);
        EXPECT_EQ(p.args(), row.args);
        EXPECT_EQ(p.out + p.err, "");
    }
}

TEST(Options, TwoModesAreAConflict) {
    const struct {
        Words words;
        const char* added;
        const char* first;
    } rows[] = {
        {{"obxc", "-r", "a", "-n", "b"}, "notify", "request"},
        {{"obxc", "-n", "a", "-r", "b"}, "request", "notify"},
        {{"obxc", "-r", "a", "-r", "b"}, "request", "request"},
        {{"obxc", "-l", "-e", "1"}, "event", "listen"},
        {{"obxc", "-l", "-e", "x"}, "event", "listen"},
        {{"obxc", "-e", "1", "-l"}, "listen", "event"},
        {{"obxc", "-l", "--raw", "{}"}, "raw", "listen"},
        {{"obxc", "--raw", "{}", "-s"}, "script", "raw"},
        {{"obxc", "-s", "-S", "x"}, "script", "script"},
        {{"obxc", "-S", "x", "-s"}, "script", "script-lua"},
        {{"obxc_interpreter", "-l"}, "listen", "interactive"},
        {{"obxc_lua", "-S", "x"}, "script", "interactive"},
    };
    for (const auto& row : rows) {
        Parsed p(row.words);
        EXPECT_EQ(p.status, 1);
        EXPECT_EQ(p.out, "");
        EXPECT_EQ(p.err, std::string("Cannot execute '") + row.added + "' and '" + row.first +
                             "' modes simultaneously.\n");
    }
}

TEST(Options, UsageAndVersion) {
    for (const char* option : {"-h", "--help"}) {
        Parsed p({"obxc", option});
        EXPECT_EQ(p.status, 0);
        EXPECT_EQ(p.out, USAGE);
        EXPECT_EQ(p.err, "");
    }
    for (const char* option : {"-v", "--version"}) {
        Parsed p({"obxc", option});
        EXPECT_EQ(p.status, 0);
        EXPECT_EQ(p.out, "Ombrix Management System client.\nobxc version 0.2.1\n");
        EXPECT_EQ(p.err, "");
    }
}

TEST(Options, WhatIsNoOptionPrintsTheUsageAsAnError) {
    const Words rows[] = {
        {"obxc", "-x"},      {"obxc", "--nothing"}, {"obxc", "-r"},  {"obxc", "--request"},
        {"obxc", "-i", "x"}, {"obxc", "-i"},        {"obxc", "-?"},  {"obxc", "--listen=x"},
        {"obxc", "--raw"},   {"obxc_lua", "-u"},    {"obxc", "--s"},
    };
    for (const auto& row : rows) {
        Parsed p(row);
        EXPECT_EQ(p.status, 1) << row[1];
        EXPECT_EQ(p.out, "");
        EXPECT_EQ(p.err, USAGE);
    }
}

TEST(Options, EventGroup) {
    const struct {
        const char* id;
        uint32_t group;
        bool complaint;
    } rows[] = {
        {"1", 1, false},
        {"4294967295", 4294967295u, false},
        {"0", 0, false},
        {"x", 0, true},
        {"4294967296", 0, true},
        {"-1", 0, true},
        {"", 0, true},
        {"7 ", 0, true},
        {"99999999999999999999", 0, true},
    };
    for (const auto& row : rows) {
        Parsed p({"obxc", "-e", row.id});
        EXPECT_EQ(p.status, -1) << row.id;
        EXPECT_EQ(p.options.mode, MODE_EVENT);
        EXPECT_EQ(p.options.event_group, row.group) << row.id;
        EXPECT_EQ(p.err, row.complaint ? "Group id must be an integer.\n" : "") << row.id;
    }
}

TEST(Options, Groups) {
    EXPECT_EQ(Parsed({"obxc", "-g", "1,,2"}).groups(), (std::vector<uint32_t>{1, 2}));
    EXPECT_EQ(Parsed({"obxc", "-g", "3", "--groups=1,4294967295"}).groups(),
              (std::vector<uint32_t>{3, 1, 4294967295u}));
    EXPECT_EQ(Parsed({"obxc", "-g", ","}).groups(), std::vector<uint32_t>());
    for (const char* bad : {"x", "4294967296", " 2", "-1"}) {
        Parsed p({"obxc", "-g", std::string("1,") + bad});
        EXPECT_EQ(p.status, 1);
        EXPECT_EQ(p.out, "");
        EXPECT_EQ(p.err, std::string("Invalid group number: '") + bad + "'.\n");
    }
}

TEST(Options, AnyNumberOfGroups) {
    std::string list;
    for (int i = 1; i <= 1000; i++) list += std::to_string(i) + ",";
    Parsed p({"obxc", "-g", list});
    ASSERT_EQ(p.groups().size(), 1000u);
    EXPECT_EQ(p.groups().front(), 1u);
    EXPECT_EQ(p.groups().back(), 1000u);
}

TEST(Options, Credentials) {
    std::string longest(255, 'l');
    const struct {
        std::string data, login, password;
    } rows[] = {
        {"admin:secret", "admin", "secret"},
        {"admin:pa:ss", "admin", "pa:ss"},
        {"token", "token", ""},
        {"admin:", "admin", ""},
        {":secret", "", "secret"},
        {"", "", ""},
        {longest + "xyz:" + longest + "xyz", longest, longest},
        {longest + "xyz", longest, ""},
    };
    for (const auto& row : rows) {
        Parsed p({"obxc", "-a", row.data});
        EXPECT_EQ(p.status, -1);
        EXPECT_EQ(p.options.login, row.login);
        EXPECT_EQ(p.options.password, row.password);
    }
}

TEST(Options, Timeout) {
    const struct {
        const char* text;
        int ms;
    } rows[] = {
        {"3", 3000}, {"0", 5000}, {"x", 5000}, {"2s", 2000}, {"3000000", 2147483647}, {"-1", -1},
    };
    for (const auto& row : rows) {
        Parsed p({"obxc", "-t", row.text});
        EXPECT_EQ(options_timeout_ms(&p.options), row.ms) << row.text;
    }
    Parsed none({"obxc"});
    EXPECT_EQ(options_timeout_ms(&none.options), 5000);
}

TEST(Options, TheOthers) {
    Parsed p({"obxc", "--ssl", "-u", "/s", "--config", "/c", "--auth=a:b", "--timeout=9"});
    EXPECT_EQ(p.status, -1);
    EXPECT_TRUE(p.options.use_ssl);
    EXPECT_STREQ(p.options.unix_path, "/s");
    EXPECT_STREQ(p.options.config_path, "/c");
    EXPECT_STREQ(p.options.login, "a");
    EXPECT_EQ(p.options.timeout_s, 9);
}

TEST(Options, ArgumentsMustBeText) {
    Parsed p({"obxc", "-r", "set", "a=\xff"});
    EXPECT_EQ(p.status, 1);
    EXPECT_EQ(p.err, "An argument is no UTF-8 text.\n");
}

TEST(Options, CredentialsDoNotStayInMemory) {
    StartOptions options = {};
    char program[] = "obxc", option[] = "-a", data[] = "admin:secret";
    char* argv[] = {program, option, data, nullptr};
    options_parse(&options, 3, argv);
    EXPECT_STREQ(data, "************");
    options_free(&options);
    EXPECT_STREQ(options.login, "");
    EXPECT_STREQ(options.password, "");
    EXPECT_EQ(memmem(&options, sizeof(options), "secret", 6), nullptr);
}

}  // namespace
