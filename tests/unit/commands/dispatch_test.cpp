// The command table, lookup and dispatch, and help. The handlers write down how they are called.
#include "commands/dispatch.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "commands/help.hpp"
#include "commands/table.hpp"
#include "ox_colors.hpp"
#include "ox_string.hpp"
#include "session/interrupt.hpp"
#include "session/prompt.hpp"

namespace {

std::string called;
int next_result;

int note(const char* handler, const char* name, json_t* args) {
    called = std::string(handler) + "(" + name;
    size_t index;
    json_t* word;
    json_array_foreach(args, index, word) called += std::string(",") + json_string_value(word);
    called += ")";
    return next_result;
}

}  // namespace

ox_hsv colour_scheme[COLOUR_COUNT] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}};

void ox_colors_set_hsv2(ox_hsv colour) {
    printf("<%d>", colour.hue);
}
void ox_colors_reset(void) {
    printf("</>");
}
void interrupt_point(void) {}

#define HANDLER(function)                          \
    int function(const char* name, json_t* args) { \
        return note(#function, name, args);        \
    }
HANDLER(add_command)
HANDLER(attr_command)
HANDLER(attr_request)
HANDLER(cat_command)
HANDLER(catree_command)
HANDLER(cd_command)
HANDLER(clear_command)
HANDLER(color_command)
HANDLER(debug_command)
HANDLER(del_command)
HANDLER(download_command)
HANDLER(execute_command)
HANDLER(login_command)
HANDLER(login_if_guest_command)
HANDLER(logout_command)
HANDLER(ls_command)
HANDLER(lua_command)
HANDLER(luarecord_command)
HANDLER(opt_command)
HANDLER(order_command)
HANDLER(process_reboot)
HANDLER(process_reset)
HANDLER(process_save)
HANDLER(pwd_command)
HANDLER(record_command)
HANDLER(select_command)
HANDLER(set_command)
HANDLER(sh_command)
HANDLER(take_command)
HANDLER(tree_command)
HANDLER(up_command)
HANDLER(upgrade_command)
HANDLER(upload_command)
#undef HANDLER

#define OFFERS(name)           \
    extern const Offer name[]; \
    const Offer name[] = {{}};
OFFERS(add_offers)
OFFERS(attr_offers)
OFFERS(cat_offers)
OFFERS(catree_offers)
OFFERS(cd_offers)
OFFERS(color_offers)
OFFERS(debug_offers)
OFFERS(del_offers)
OFFERS(download_offers)
OFFERS(execute_offers)
OFFERS(ls_offers)
OFFERS(opt_offers)
OFFERS(order_offers)
OFFERS(reboot_offers)
OFFERS(record_offers)
OFFERS(reset_offers)
OFFERS(select_offers)
OFFERS(set_offers)
OFFERS(sh_offers)
OFFERS(tree_offers)
OFFERS(upgrade_offers)
OFFERS(upload_offers)
#undef OFFERS

namespace {

struct Outcome {
    int result;
    std::string out;
    std::string called;
};

Outcome dispatch(int (*function)(const char*, json_t*), const char* word, std::vector<const char*> words = {},
                 int result = 0) {
    json_t* args = json_array();
    for (const char* arg : words) json_array_append_new(args, json_string(arg));
    called.clear();
    next_result = result;
    testing::internal::CaptureStdout();
    int got = function(word, args);
    fflush(stdout);
    EXPECT_EQ(json_array_size(args), words.size());
    json_decref(args);
    return {got, testing::internal::GetCapturedStdout(), called};
}

// Name, method, id, and the functions that the shell and a script run: "" for none.
const struct Row {
    const char* name;
    const char* method;
    uint32_t id;
    const char* shell;
    const char* request;
} ROWS[] = {
    {"add", "AddObject", 1, "add_command", "add_command"},
    {"attr", "GetParameterAttributes", 15, "attr_command", "attr_request"},
    {"cd", nullptr, 4, "cd_command", ""},
    {"cat", "GetParameterValues", 2, "cat_command", "cat_command"},
    {"catree", nullptr, 3, "catree_command", ""},
    {"clear", nullptr, 5, "clear_command", ""},
    {"color", nullptr, 6, "color_command", ""},
    {"debug", nullptr, 8, "debug_command", "debug_command"},
    {"del", "DeleteObject", 7, "del_command", "del_command"},
    {"download", "Download", 9, "download_command", "download_command"},
    {"get", "GetParameterValues", 2, "cat_command", "cat_command"},
    {"help", nullptr, 14, "help", ""},
    {"info", "GetParameterAttributes", 15, "attr_command", "attr_request"},
    {"login", nullptr, 18, "login_command", "login_command"},
    {"logout", nullptr, 20, "logout_command", "logout_command"},
    {"login_if_guest", nullptr, 19, "login_if_guest_command", ""},
    {"ls", "GetParameterNames", 21, "ls_command", "ls_command"},
    {"lua", "lua", 22, "lua_command", "lua_command"},
    {"luarecord", nullptr, 23, "luarecord_command", ""},
    {"opt", nullptr, 25, "opt_command", ""},
    {"order", "ChangeOrder", 26, "order_command", "order_command"},
    {"pwd", nullptr, 27, "pwd_command", ""},
    {"reboot", "Reboot", 28, "process_reboot", "process_reboot"},
    {"reset", "FactoryReset", 30, "process_reset", "process_reset"},
    {"rm", "DeleteObject", 7, "del_command", "del_command"},
    {"save", "SaveConfig", 33, "process_save", "process_save"},
    {"select", nullptr, 34, "select_command", "select_command"},
    {"set", "SetParameterValues", 35, "set_command", "set_command"},
    {"record", nullptr, 29, "record_command", ""},
    {"sh", nullptr, 36, "sh_command", "sh_command"},
    {"touch", "AddObject", 1, "add_command", "add_command"},
    {"take", nullptr, 37, "take_command", ""},
    {"tree", nullptr, 38, "tree_command", ""},
    {"up", nullptr, 39, "up_command", ""},
    {"upgrade", nullptr, 40, "upgrade_command", "upgrade_command"},
    {"upload", "Upload", 41, "upload_command", "upload_command"},
    {"execute", nullptr, 12, "execute_command", "execute_command"},
};

TEST(Table, Rows) {
    ASSERT_EQ(std::size(ROWS), static_cast<size_t>(COMMAND_COUNT));
    for (size_t i = 0; i < std::size(ROWS); i++) {
        EXPECT_STREQ(command_table[i].name, ROWS[i].name) << i;
        EXPECT_STREQ(command_table[i].method, ROWS[i].method) << ROWS[i].name;
        EXPECT_EQ(command_table[i].id, ROWS[i].id) << ROWS[i].name;
        EXPECT_EQ(command_table[i].request_handler != nullptr, *ROWS[i].request != 0) << ROWS[i].name;
    }
}

// What shells complete behind "obxc -r" was made from the rows.
TEST(Table, ShellsCompleteTheWordsOfRequests) {
    std::ifstream file(OBX_BINARY_DIR "/share/obxc/complete");
    std::stringstream text;
    text << file.rdbuf();
    std::string lines;
    for (const ShellCommand& row : command_table) {
        if (row.request_handler) lines += std::string(row.name) + "\t" + (row.help ? row.help : "") + "\n";
    }
    EXPECT_NE(text.str().find("\n" + lines + "END\n"), std::string::npos) << lines;
}

TEST(Table, HashesAreFilledInByTheFirstLookup) {
    command_lookup("nothing");
    for (const ShellCommand& row : command_table) {
        EXPECT_EQ(row.name_hash, ox_string_get_hash(row.name));
        EXPECT_EQ(row.method_hash, ox_string_get_hash(row.method));
    }
}

TEST(Dispatch, EachCommandReachesItsHandler) {
    for (const Row& row : ROWS) {
        if (std::string(row.shell) == "help") continue;
        std::string arguments = std::string("(") + row.name + ",x,y)";
        Outcome o = dispatch(command_dispatch, row.name, {"x", "y"}, 5);
        EXPECT_EQ(o.called, row.shell + arguments);
        EXPECT_EQ(o.result, 5);
        EXPECT_EQ(o.out, "");
        o = dispatch(request_dispatch, row.name, {"x", "y"}, -3);
        EXPECT_EQ(o.called, *row.request ? row.request + arguments : "");
        EXPECT_EQ(o.result, *row.request ? -3 : -1);
        EXPECT_EQ(o.out, *row.request ? "" : std::string(row.name) + ": unknown method.\n");
    }
}

TEST(Dispatch, AMethodNameFindsTheFirstOfItsRows) {
    const struct {
        const char* word;
        const char* shell;
        const char* request;
    } rows[] = {
        {"AddObject", "add_command(add)", "add_command(AddObject)"},
        {"DeleteObject", "del_command(del)", "del_command(DeleteObject)"},
        {"GetParameterValues", "cat_command(cat)", "cat_command(GetParameterValues)"},
        {"GetParameterAttributes", "attr_command(attr)", "attr_request(GetParameterAttributes)"},
        {"SetParameterValues", "set_command(set)", "set_command(SetParameterValues)"},
        {"lua", "lua_command(lua)", "lua_command(lua)"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(dispatch(command_dispatch, row.word).called, row.shell);
        EXPECT_EQ(dispatch(request_dispatch, row.word).called, row.request);
    }
}

TEST(Dispatch, WhatIsNoCommand) {
    for (const char* word : {"LS", "Q", "l", "lss", "", "getparametervalues", "ls ", "#"}) {
        Outcome o = dispatch(command_dispatch, word);
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(o.out, std::string(word) + ": command not found.\n");
        o = dispatch(request_dispatch, word);
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(o.out, std::string(word) + ": unknown method.\n");
    }
    EXPECT_EQ(dispatch(command_dispatch, nullptr).out, "(null): command not found.\n");
    EXPECT_EQ(dispatch(request_dispatch, nullptr).out, "(null): unknown method.\n");
    EXPECT_EQ(command_lookup(nullptr), nullptr);
}

// Whatever the hash of "no method" is, a word with the same hash is compared with no null method.
TEST(Dispatch, AWordWithTheHashOfNoMethodMatchesNothing) {
    command_lookup("ls");
    uint32_t hash = ox_string_get_hash("zzz");
    std::vector<uint32_t> saved;
    for (ShellCommand& row : command_table) {
        saved.push_back(row.method_hash);
        row.method_hash = hash;
    }
    EXPECT_EQ(command_find("zzz"), nullptr);
    for (size_t i = 0; i < saved.size(); i++) command_table[i].method_hash = saved[i];
}

TEST(Dispatch, TheQuestionMarkIsHelpInTheShellOnly) {
    ASSERT_NE(command_lookup("?"), nullptr);
    EXPECT_STREQ(command_lookup("?")->name, "help");
    Outcome o = dispatch(command_dispatch, "?");
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, dispatch(command_dispatch, "help").out);
    o = dispatch(request_dispatch, "?");
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.out, "?: unknown method.\n");
}

TEST(Help, ListsAllButTheHiddenCommandInOrder) {
    const struct {
        const char* syntax;
        const char* help;
    } rows[] = {
        {"add <path>", "add a new instance to multi-instance object"},
        {"attr [<path1> <path2>...]", "show node's attributes"},
        {"cat [<path1> <path2>...]", "retrieve node's values"},
        {"catree [<path1> <path2>...]", "retrieve node's values and print as tree"},
        {"cd <path>", "cd to the node"},
        {"clear", "clear screen"},
        {"color [<type> <hsv>]", "manage color scheme"},
        {"del <path>", "delete instance from multi-instance object"},
        {"download <firmware|config|file> <path_to_file> [<target_file_name>]",
         "download a file to CPE and immediately apply if firmware|config"},
        {"execute <path_to_method> [<rpath1>=<value1> <rpath2>=<value2>...]", "execute method"},
        {"get [<path1> <path2>...]", "same as 'cat'"},
        {"help", "show this message"},
        {"info <path> [<path2>...]", "same as 'attr'"},
        {"login [<username> [ -p <password>]]", "login as user <username> (or as $USER if empty)"},
        {"login_if_guest <username|token> [<password>]", "try login if not authorized"},
        {"logout", "logout"},
        {"ls [-l] [<path1> <path2>...]", "list object's subnodes"},
        {"lua [<Lua statement>]", "run Lua script (without arguments - enter Luamode)"},
        {"luarecord <filename>", "create lua-script from Lua session"},
        {"opt autocomplete|hint on|off", "enable/disable shell options"},
        {"order <path> <num>", "assign order number to instance"},
        {"pwd", "print current path"},
        {"reboot [-f] [<DeviceMode>]", "reboot device (force reboot with '-f')"},
        {"record <filename>|abort", "create obxc-script from current shell session"},
        {"reset [all]", "reset device configuration to default"},
        {"rm <path>", "same as 'del'"},
        {"save [<name>]", "save device configuration in NVRAM"},
        {"select <path>", "select config paths"},
        {"set <path>=<value> [...]", "set parameters' values"},
        {"sh [<cmd> <...>]", "runs command (without arguments - run interactive shell"},
        {"take <path>", "add a new instance to multi-instace object and cd to it"},
        {"touch <path>", "same as 'add'"},
        {"tree [<path>]", "show node scheme in tree form"},
        {"up [<levels>]", "cd to upper level node"},
        {"upgrade <path_to_firmware>", "upgrade CPE firmware"},
        {"upload config <remote_url> [<target_file_name>]", "upload config to remote server"},
    };
    EXPECT_EQ(std::size(rows), 36u);
    std::string expected;
    for (const auto& row : rows) {
        std::string syntax = row.syntax;
        syntax.resize(67, ' ');
        expected += "<2>" + syntax + "</> - " + row.help + "\n";
    }
    Outcome o = dispatch(help_command, "help", {"ignored"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, expected);
}

TEST(Help, WithoutAnyHelp) {
    const char* saved[COMMAND_COUNT];
    for (int i = 0; i < COMMAND_COUNT; i++) {
        saved[i] = command_table[i].help;
        command_table[i].help = nullptr;
    }
    Outcome o = dispatch(help_command, "help");
    for (int i = 0; i < COMMAND_COUNT; i++) command_table[i].help = saved[i];
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, "No available help. Please refer to #15692\n");
}

}  // namespace
