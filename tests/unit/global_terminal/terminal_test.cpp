// Widths, columns, colours, capabilities, escaping: what is drawn without the editor.
#include <gtest/gtest.h>
#include <jansson.h>
#include <pty.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ox_colors.hpp"
#include "ox_out.hpp"
#include "ox_rl.hpp"
#include "platform/global/terminal/columns.hpp"
#include "platform/global/terminal/completion.hpp"
#include "platform/global/terminal/width.hpp"

namespace {

class Environment : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"LC_ALL", "LC_CTYPE", "NO_COLOR", "COLORTERM", "COLUMNS"}) unsetenv(name);
        setenv("LANG", "C.UTF-8", 1);
        setenv("TERM", "xterm", 1);
    }
};
using Width = Environment;
using Capabilities = Environment;
using Colours = Environment;
using Output = Environment;

TEST_F(Width, CountsColumns) {
    struct Row {
        const char* text;
        size_t width;
    };
    const Row rows[] = {{"", 0},          {"abc", 3},          {"\xc3\xa9", 1},
                        {"e\xcc\x81", 1}, {"\xe4\xb8\xad", 2}, {"\xf0\x9f\x98\x80", 2},
                        {"\xff\xfe", 2},  {"a\tb", 2},         {"\xe4\xb8", 2},
                        {"\xc0\x80", 2},  {"\xed\xa0\x80", 3}};
    for (const Row& row : rows)
        EXPECT_EQ(terminal_text_width(row.text, strlen(row.text)), row.width) << row.text;
}

TEST_F(Width, CutsAtWholeCharacters) {
    struct Row {
        const char* text;
        size_t columns;
        size_t bytes;
    };
    const Row rows[] = {
        {"abc", 5, 3},        {"abc", 2, 2},       {"abc", 0, 0},         {"\xe4\xb8\xad\xe4\xb8\xad", 3, 3},
        {"e\xcc\x81x", 1, 3}, {"a\033[31m", 9, 1}, {"\xe4\xb8\xad", 1, 0}};
    for (const Row& row : rows) {
        EXPECT_EQ(terminal_cut(row.text, strlen(row.text), row.columns), row.bytes) << row.text;
    }
}

TEST_F(Width, FollowsTheCursor) {
    struct Row {
        const char* text;
        size_t columns, column, row;
    };
    const Row rows[] = {{"abc", 10, 3, 0},
                        {"0123456789", 10, 0, 1},
                        {"012345678", 10, 9, 0},
                        {"012345678\xe4\xb8\xad", 10, 2, 1},
                        {"\001\033[31m\002ab\001\033[0m\002", 10, 2, 0},
                        {"a\001\002b", 10, 2, 0},
                        {"a\003b", 10, 4, 0}};
    for (const Row& row : rows) {
        TerminalPlace place = terminal_advance({0, 0}, row.text, strlen(row.text), row.columns);
        EXPECT_EQ(place.column, row.column) << row.text;
        EXPECT_EQ(place.row, row.row) << row.text;
    }
}

TEST_F(Capabilities, FollowTheTerminalsName) {
    struct Row {
        const char* term;
        int color, cursor, depth;
    };
    const Row rows[] = {{"xterm", 1, 1, 1},
                        {"xterm-256color", 1, 1, 2},
                        {"screen.xterm-256color", 1, 1, 2},
                        {"tmux-direct", 1, 1, 3},
                        {"linux", 1, 1, 1},
                        {"vt100", 0, 1, 0},
                        {"xterm-mono", 0, 1, 0},
                        {"dumb", 0, 0, 0},
                        {"", 0, 0, 0},
                        {"no-such-terminal", 0, 0, 0},
                        {"xterm-kitty", 1, 1, 3},
                        {"vt220", 0, 1, 0},
                        {"strange-256color", 1, 1, 2}};
    for (const Row& row : rows) {
        const ox_rl_capabilities* found = ox_rl_get_terminal_capabilities(row.term);
        EXPECT_EQ(found->color, row.color) << row.term;
        EXPECT_EQ(found->cursor, row.cursor) << row.term;
        EXPECT_EQ(found->depth, row.depth) << row.term;
    }
}

TEST_F(Capabilities, TakeTermAndColortermFromTheEnvironment) {
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->depth, 1);
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->depth, 3);
    setenv("TERM", "vt100", 1);
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->color, 0);
    unsetenv("TERM");
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->cursor, 0);
}

TEST_F(Width, CountsUtf8UnlessTheEnvironmentNamesAnotherCharacterSet) {
    struct Row {
        const char* lang;
        size_t width;
    };
    const Row rows[] = {{nullptr, 1}, {"", 1},       {"C", 1},           {"POSIX", 1},
                        {"xx_XX", 1}, {"C.utf8", 1}, {"xx_XX.UTF-8", 1}, {"xx_XX.ISO-8859-1", 2}};
    for (const Row& row : rows) {
        row.lang ? setenv("LANG", row.lang, 1) : unsetenv("LANG");
        EXPECT_EQ(terminal_text_width("\xc3\xa9", 2), row.width) << (row.lang ? row.lang : "none");
    }
}

TEST_F(Capabilities, DrawLinesInAUtf8Locale) {
    struct Row {
        const char *all, *type, *lang;
        int lines;
    };
    const Row rows[] = {{nullptr, nullptr, "en_US.UTF-8", 1},
                        {nullptr, nullptr, "de_DE.utf8@euro", 1},
                        {"C", nullptr, "en_US.UTF-8", 0},
                        {"", "C.UTF-8", "C", 1},
                        {nullptr, nullptr, "C", 0},
                        {nullptr, "en_US.ISO-8859-1", "C.UTF-8", 0},
                        {nullptr, nullptr, nullptr, isatty(STDOUT_FILENO)},
                        {"POSIX", nullptr, "C.UTF-8", 0}};
    auto put = [](const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); };
    for (const Row& row : rows) {
        put("LC_ALL", row.all);
        put("LC_CTYPE", row.type);
        put("LANG", row.lang);
        EXPECT_EQ(ox_rl_get_terminal_capabilities("dumb")->line_drawing, row.lines)
            << (row.lang ? row.lang : "none");
    }
}

TEST_F(Colours, AreOffUntilSwitchedOnAndUnderNoColor) {
    char text[32];
    ox_colors_toggle(0);
    EXPECT_EQ(ox_colors_sequence({0, 100, 100}, text, sizeof text), 0u);
    EXPECT_STREQ(text, "");
    setenv("NO_COLOR", "1", 1);
    ox_colors_toggle(1);
    EXPECT_FALSE(ox_colors_enabled());
    setenv("NO_COLOR", "", 1);
    ox_colors_toggle(1);
    EXPECT_TRUE(ox_colors_enabled());
}

// The depth of colour is asked once in a process, so each depth gets one of its own.
void expect_sequences(const char* term, const char* colorterm,
                      const std::vector<std::pair<ox_hsv, std::string>>& rows) {
    setenv("TERM", term, 1);
    if (colorterm) setenv("COLORTERM", colorterm, 1);
    ox_colors_toggle(1);
    for (const auto& [colour, expected] : rows) {
        char text[32];
        size_t length = ox_colors_sequence(colour, text, sizeof text);
        if (text != expected || length != expected.size()) {
            fprintf(stderr, "%d %d %d: %s\n", colour.hue, colour.saturation, colour.value, text + 1);
            _exit(1);
        }
    }
    _exit(0);
}

TEST_F(Colours, AreAsDeepAsTheTerminals) {
    EXPECT_EXIT(expect_sequences("xterm", nullptr,
                                 {{{0, 100, 100}, "\033[91m"},
                                  {{220, 78, 100}, "\033[94m"},
                                  {{50, 100, 55}, "\033[33m"},
                                  {{120, 100, 55}, "\033[32m"},
                                  {{359, 100, 55}, "\033[31m"},
                                  {{0, 0, 100}, "\033[97m"},
                                  {{0, 0, 0}, "\033[30m"}}),
                ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(expect_sequences("xterm-256color", nullptr,
                                 {{{0, 100, 100}, "\033[38;5;196m"},
                                  {{120, 100, 55}, "\033[38;5;28m"},
                                  {{0, 0, 100}, "\033[38;5;231m"},
                                  {{0, 0, 50}, "\033[38;5;244m"},
                                  {{0, 0, 0}, "\033[38;5;16m"}}),
                ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(expect_sequences("xterm", "24bit",
                                 {{{0, 100, 100}, "\033[38;2;255;0;0m"},
                                  {{360, 100, 100}, "\033[38;2;255;0;0m"},
                                  {{120, 100, 55}, "\033[38;2;0;140;0m"},
                                  {{60, 100, 100}, "\033[38;2;255;255;0m"},
                                  {{180, 50, 100}, "\033[38;2;128;255;255m"},
                                  {{240, 200, 200}, "\033[38;2;0;0;255m"}}),
                ::testing::ExitedWithCode(0), "");
}

TEST(Columns, FillDownThenAcross) {
    struct Row {
        std::vector<size_t> entries;
        size_t width, rows, columns;
    };
    const Row rows[] = {{{}, 80, 0, 1},
                        {{5}, 80, 1, 1},
                        {{5, 5, 5}, 80, 1, 3},
                        {{5, 5, 5}, 19, 1, 3},    // 5 + 2 + 5 + 2 + 5
                        {{5, 5, 5}, 18, 2, 2},    // one column less
                        {{100, 5, 5}, 80, 3, 1},  // nothing fits beside the long one
                        {{1, 1, 1, 1, 1, 1, 1}, 10, 2, 4},
                        {{5, 5}, 3, 2, 1}};
    for (const Row& row : rows) {
        ColumnLayout layout = columns_layout(row.entries.data(), row.entries.size(), row.width);
        EXPECT_EQ(layout.rows, row.rows);
        EXPECT_EQ(layout.columns, row.columns);
        free(layout.widths);
    }
}

TEST(Completion, ReplacesTheLongestTextThatTheCandidateBeginsWith) {
    struct Row {
        const char* line;
        const char* candidate;
        size_t start;
    };
    const Row rows[] = {{"upgrade fw.b", "fw.bin", 8},
                        {"cd dev", "Device.", 3},
                        {"cd :D", ":Device.", 3},
                        {"cd Device.D", "DHCPv4.", 10},
                        {"cd Device.D", "Device.DHCPv4.", 3},
                        {"upload config /tmp/f", "fw.bin", 19},
                        {"set X.Enable=t", "true", 13},
                        {"set X.Name=\"t", "true", 12},
                        {"he", "help", 0},
                        {"cd ", "Device.", 3},
                        {"cd xyz", "Device.", 6},  // nothing fits: it goes to the cursor
                        {"", "help", 0},
                        {"a.b.a.b", "a.b.a.bc", 0},  // the longest of two
                        {"x.a.b", "a.b.c", 2}};
    CompletionRules rules = {" \t/.=:\"'", false};
    for (const Row& row : rows) {
        EXPECT_EQ(completion_start(row.line, strlen(row.line), row.candidate, rules), row.start) << row.line;
    }
    rules.case_sensitive = true;
    EXPECT_EQ(completion_start("cd dev", 6, "Device.", rules), 6u);
}

TEST(Completion, InsertsWhatTheCandidatesShare) {
    struct Row {
        const char* line;
        std::vector<const char*> candidates;
        const char* result;  // null: nothing changes
    };
    const Row rows[] = {{"he", {"help"}, "help"},
                        {"help", {"help"}, nullptr},
                        {"cd dev", {"Device."}, "cd Device."},
                        {"cd Device.", {"Device."}, nullptr},
                        {"cd device.", {"Device."}, "cd Device."},
                        {"cd D", {"Device.A.", "Device.B."}, "cd Device."},
                        {"cd d", {"Device.A.", "device.B."}, "cd Device."},
                        {"cd dev", {"Devel", "develop"}, "cd Devel"},
                        {"cd dev", {"Dev1", "dev2"}, nullptr},
                        {"cd ", {"a", "b"}, nullptr},
                        {"cd ", {"a1", "a2"}, "cd a"},
                        {"x", {}, nullptr},
                        {"cd xyz", {"Device."}, nullptr},  // there is no place for it
                        {"cd De\"vi", {"Device."}, nullptr},
                        {"ls # note", {"Device."}, nullptr},
                        {"f \xc3", {"\xc3\xa9", "\xc3\xa8"}, nullptr},
                        {"f ", {"\xc3\xa9", "\xc3\xa8"}, nullptr},  // half a character is none
                        {"f ", {"a\xc3\xa9", "a\xc3\xa8"}, "f a"},
                        {"f d", {"dev\x1b[2J"}, "f dev"},  // control characters stay out
                        {"f d", {"dev\xc2\x9bx"}, "f dev"},
                        {"f dev", {"dev\n"}, nullptr}};
    CompletionRules rules = {" \t/.=:\"'", false};
    for (const Row& row : rows) {
        json_t* candidates = json_array();
        for (const char* text : row.candidates) json_array_append_new(candidates, json_string_nocheck(text));
        CompletionEdit edit = completion_edit(row.line, strlen(row.line), candidates, rules);
        EXPECT_EQ(edit.changes, row.result != nullptr) << row.line;
        if (edit.changes && row.result) {
            EXPECT_EQ(std::string(row.line).substr(0, edit.start) + edit.text, row.result);
        }
        free(edit.text);
        json_decref(candidates);
    }
}

/// What a function writes to standard output while that is a terminal (or a pipe).
template <typename Function>
std::string written(bool terminal, Function function, unsigned short columns = 20) {
    int reader = -1;
    int writer = -1;
    if (terminal) {
        struct winsize size = {24, columns, 0, 0};
        EXPECT_EQ(openpty(&reader, &writer, nullptr, nullptr, &size), 0);
    } else {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        reader = ends[0];
        writer = ends[1];
    }
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    dup2(writer, STDOUT_FILENO);
    ox_out_refresh();
    function();
    printf("$");
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    ox_out_refresh();
    std::string text;
    char byte;
    while (read(reader, &byte, 1) == 1 && byte != '$') text += byte;
    close(writer);
    close(reader);
    return text;
}

TEST_F(Output, EscapesControlCharactersOnATerminal) {
    struct Row {
        std::string text, escaped;
    };
    const Row rows[] = {{"plain", "plain"},
                        {"\033[2J", "\\x1b[2J"},
                        {"a\nb\tc\x7f", "a\\x0ab\\x09c\\x7f"},
                        {std::string("a\0b", 3), "a\\x00b"},
                        {"\xc3\xa9", "\xc3\xa9"},
                        {"\xc2\x9b"
                         "31m",
                         "\\xc2\\x9b31m"},
                        {"\x9b"
                         "31m",
                         "\\x9b31m"},
                        {"\xc2\xa0", "\xc2\xa0"},
                        {"\xe4\x80\x85", "\xe4\x80\x85"}};
    for (const Row& row : rows) {
        auto print = [&row] { ox_out_text(row.text.data(), static_cast<long>(row.text.size())); };
        EXPECT_EQ(written(true, print), row.escaped);
        EXPECT_EQ(written(false, print), row.text);
        size_t size = 0;
        auto measure = [&] { size = ox_out_size(row.text.data(), static_cast<long>(row.text.size())); };
        written(true, measure);
        EXPECT_EQ(size, row.escaped.size());
        written(false, measure);
        EXPECT_EQ(size, row.text.size());
    }
}

TEST_F(Output, MessagesKeepTheirLines) {
    const char* text = "first\n\tsecond\n\n\033[2J\r\xc3\xa9";
    auto print = [text] { ox_out_message(text); };
    EXPECT_EQ(written(true, print), "first\r\n\tsecond\r\n\r\n\\x1b[2J\\x0d\xc3\xa9");
    EXPECT_EQ(written(false, print), text);
}

TEST_F(Output, ListsFollowTheTerminal) {
    json_t* list = json_pack("[s,s,s,i,s]", "alpha", "b\033", "\xe4\xb8\xad\xe6\x96\x87", 7, "delta");
    // 5 + 2 + 5 + ... on 20 columns: two rows of two.
    EXPECT_EQ(written(true, [list] { ox_rl_show_list(list); }),
              "alpha  \xe4\xb8\xad\xe6\x96\x87\r\nb\\x1b  delta\r\n");
    EXPECT_EQ(written(
                  true, [list] { ox_rl_show_list(list); }, 40),
              "alpha  b\\x1b  \xe4\xb8\xad\xe6\x96\x87  delta\r\n");
    EXPECT_EQ(written(false, [list] { ox_rl_show_list(list); }),
              "alpha\nb\033\n\xe4\xb8\xad\xe6\x96\x87\ndelta\n");
    json_decref(list);
    list = json_array();
    EXPECT_EQ(written(true, [list] { ox_rl_show_list(list); }), "");
    json_decref(list);
    EXPECT_EQ(written(true, [] { ox_rl_show_list(nullptr); }), "");
}

TEST_F(Output, ProgressIsOneRowDrawnWhenItChanges) {
    EXPECT_EQ(written(true, [] { ox_rl_draw_progressbar(50, "Go"); }), "\rGo [####.....]  50%");
    EXPECT_EQ(written(true, [] { ox_rl_draw_progressbar(50, "Go"); }), "");
    EXPECT_EQ(written(true, [] { ox_rl_draw_progressbar(250, "Go"); }), "\rGo [#########] 100%");
    EXPECT_EQ(written(
                  true, [] { ox_rl_draw_progressbar(-3, "Go"); }, 15),
              "\rGo [....]   0%");
    EXPECT_EQ(written(
                  true, [] { ox_rl_draw_progressbar(7, "A long label"); }, 12),
              "\rA l []   7%");
    EXPECT_EQ(written(false, [] { ox_rl_draw_progressbar(60, "Go"); }), "");
}

}  // namespace
