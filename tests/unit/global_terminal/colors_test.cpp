// Colours of what is written.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ox_colors.hpp"
#include "terminal_fixture.hpp"

namespace {

using Colours = OnXterm;

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

TEST_F(Colours, AreWholeOrNotThere) {
    ox_colors_toggle(1);
    char text[4] = "abc";
    EXPECT_EQ(ox_colors_sequence({0, 100, 100}, text, sizeof text), 0u);
    EXPECT_STREQ(text, "");
    ox_colors_toggle(0);
}

}  // namespace
