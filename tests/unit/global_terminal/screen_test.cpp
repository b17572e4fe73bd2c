// What the terminal can do, by its name and the environment.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "ox_screen.hpp"
#include "terminal_fixture.hpp"

namespace {

using Screen = OnXterm;

TEST_F(Screen, FollowTheTerminalsName) {
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

// What no list of names holds is asked of the system's descriptions; they come with every Debian.
TEST_F(Screen, FollowsTheDescriptionOfTheTerminal) {
    struct Row {
        const char* term;
        int color, cursor, depth;
    };
    const Row rows[] = {{"Eterm", 1, 1, 1}, {"wsvt25", 1, 1, 1}, {"sun", 0, 1, 0}, {"vt52", 0, 1, 0}};
    for (const Row& row : rows) {
        const ox_rl_capabilities* found = ox_rl_get_terminal_capabilities(row.term);
        EXPECT_EQ(found->color, row.color) << row.term;
        EXPECT_EQ(found->cursor, row.cursor) << row.term;
        EXPECT_EQ(found->depth, row.depth) << row.term;
    }
}

TEST_F(Screen, TakeTermAndColortermFromTheEnvironment) {
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->depth, 1);
    setenv("COLORTERM", "truecolor", 1);
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->depth, 3);
    setenv("TERM", "vt100", 1);
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->color, 0);
    unsetenv("TERM");
    EXPECT_EQ(ox_rl_get_terminal_capabilities(nullptr)->cursor, 0);
}

TEST_F(Screen, DrawLinesInAUtf8Locale) {
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

}  // namespace
