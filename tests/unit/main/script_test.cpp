// Script files, with a command table that only writes down what it is asked to run.
#include "main/script.hpp"

#include <gtest/gtest.h>
#include <jansson.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "commands/dispatch.hpp"
#include "ox_editor.hpp"
#include "ox_wait.hpp"

namespace {

std::vector<std::string> dispatched;
std::string input;
size_t input_at;

int note(const char* table, const char* word, json_t* args) {
    std::string line = std::string(table) + " " + word;
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) line += std::string("|") + json_string_value(arg);
    dispatched.push_back(line);
    return strncmp(word, "fail", 4) == 0 ? -atoi(word + 4) : strcmp(word, "three") == 0 ? 3 : 0;
}

}  // namespace

int command_dispatch(const char* word, json_t* args) {
    return note("shell", word, args);
}
int request_dispatch(const char* word, json_t* args) {
    return note("request", word, args);
}
int ox_rl_getch(void) {
    return input_at < input.size() ? static_cast<unsigned char>(input[input_at++]) : -1;
}

namespace {

using Lines = std::vector<std::string>;

struct Outcome {
    int result;
    std::string out;
    Lines commands;
};

Outcome run_text(const std::string& text, int interactive = 0) {
    char path[] = "/tmp/obxc-script-test-XXXXXX";
    int fd = mkstemp(path);
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(fd);
    dispatched.clear();
    testing::internal::CaptureStdout();
    int result = script_run(path, interactive);
    fflush(stdout);
    unlink(path);
    return {result, testing::internal::GetCapturedStdout(), dispatched};
}

TEST(Script, Commands) {
    const struct {
        const char* text;
        Lines commands;
    } rows[] = {
        {"", {}},
        {"ls\n", {"request ls"}},
        {"ls", {"request ls"}},
        {"ls a\tb  c \n", {"request ls|a|b|c"}},
        {"  ls\n\t \nls b\n", {"request ls", "request ls|b"}},
        {"set a=\"x y\"\n", {"request set|a=\"x|y\""}},
        {"set a='x'\\ b\n", {"request set|a='x'\\|b"}},
        {"ls # all\n", {"request ls"}},
        {"ls a #b c\n", {"request ls|a"}},
        {"ls a#b\n", {"request ls|a#b"}},
        {"# comment\n#\nls\n", {"request ls"}},
        {" # comment\nls\n", {"request ls"}},
        {"ls \\\n  b\n", {"request ls|b"}},
        {"l\\\ns\n", {"request ls"}},
        {"set a='x\ny\nls\n", {"request set|a='xy", "request ls"}},
        // The line that closes the quote counts as opening one.
        {"set a='x\ny'\nls\n", {"request set|a='xy'ls"}},
        {"ls a\\", {}},
        {"ls \"a\\\\\nb\n", {"request ls|\"a\\b"}},
        {"\\\nls\n", {"request ls"}},
        // A comment that continues swallows the rest of the file, and so does an open quote in one.
        {"# x \\\nls\nls\n", {}},
        {"# don't\nls\nls\n", {}},
        {"\\\n\nls\n", {"request ls"}},
        {"ls\r\n", {"request ls\r"}},
        {"three\n\n", {"request three"}},
    };
    for (const auto& row : rows) {
        Outcome o = run_text(row.text);
        EXPECT_EQ(o.commands, row.commands) << row.text;
        EXPECT_EQ(o.out, "") << row.text;
    }
}

TEST(Script, TheShellsOwnTableWhenAsked) {
    EXPECT_EQ(run_text("ls a\n", 1).commands, Lines{"shell ls|a"});
}

TEST(Script, Results) {
    const struct {
        const char* text;
        int result;
        Lines commands;
    } rows[] = {
        {"", 0, {}},
        {"three\n", 3, {"request three"}},
        {"three\necho x\n\n# y\n", 3, {"request three"}},
        {"three\nls\n", 0, {"request three", "request ls"}},
        {"fail1\nls\n", -1, {"request fail1"}},
        {"ls\nfail7\nls\n", -7, {"request ls", "request fail7"}},
    };
    for (const auto& row : rows) {
        Outcome o = run_text(row.text);
        EXPECT_EQ(o.result, row.result) << row.text;
        EXPECT_EQ(o.commands, row.commands) << row.text;
    }
}

TEST(Script, Echo) {
    const struct {
        const char* text;
        const char* out;
    } rows[] = {
        {"echo\n", "\n"},
        {"echo \n", "\n"},
        {"echo a b\n", "a b\n"},
        {"echo  a   b \n", " a   b \n"},
        {"\t echo\ta\n", "a\n"},
        {"echo # \"x\" y\n", "# \"x\" y\n"},
        {"echo a \\\nb\n", "a b\n"},
        {"echo x \\\ny\necho z\n", "x y\nz\n"},
    };
    for (const auto& row : rows) {
        Outcome o = run_text(row.text);
        EXPECT_EQ(o.out, row.out) << row.text;
        EXPECT_EQ(o.commands, Lines()) << row.text;
    }
    EXPECT_EQ(run_text("echoes a\nls echo x\n").commands, (Lines{"request echoes|a", "request ls|echo|x"}));
}

TEST(Script, Sleep) {
    std::string naps;
    for (int i = 0; i < 20; ++i) naps += "sleep x\nsleep\nsleep 0\nsleep -5\n";
    long long start = ox_wait_now_ms();
    EXPECT_EQ(run_text(naps).result, 0);
    EXPECT_LT(ox_wait_now_ms() - start, 10000);  // 20 seconds at the least, were one of them a second
    start = ox_wait_now_ms();
    EXPECT_EQ(run_text("sleep 1 # y\nls\n").commands, Lines{"request ls"});
    EXPECT_GE(ox_wait_now_ms() - start, 1000);
}

TEST(Script, AFileThatCannotBeOpened) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(script_run("/nonexistent/script", 0), -1);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Cannot open script file /nonexistent/script\n");
}

TEST(Script, ADirectoryIsNoScript) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(script_run("/", 0), -1);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Cannot open script file /\n");
}

TEST(Script, WordsMustBeText) {
    Outcome o = run_text("set a=\xff\nls\n");
    EXPECT_EQ(o.result, -1);
    EXPECT_EQ(o.out, "set: a word is no UTF-8 text.\n");
    EXPECT_EQ(o.commands, Lines());
}

TEST(Script, LongLinesAndManyOfThem) {
    std::string word(1 << 20, 'x');
    std::string text = "ls " + word + "\n";
    for (int i = 0; i < 5000; i++) text += "ls \\\n" + std::to_string(i) + "\n";
    Outcome o = run_text(text);
    ASSERT_EQ(o.commands.size(), 5001u);
    EXPECT_EQ(o.commands[0], "request ls|" + word);
    EXPECT_EQ(o.commands[5000], "request ls|4999");
}

TEST(Script, StandardInput) {
    int saved = dup(0);
    input = "ls a\necho x\nset \\\nb";
    input_at = 0;
    dispatched.clear();
    testing::internal::CaptureStdout();
    EXPECT_EQ(script_run(nullptr, 0), 0);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "x\n");
    EXPECT_EQ(dispatched, (Lines{"request ls|a", "request set|b"}));
    dup2(saved, 0);
    close(saved);
}

}  // namespace
