// The commands that change how the shell looks, and the line editor as the shell has it.
#include "commands/screen.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "commands/completion.hpp"
#include "commands/describe.hpp"
#include "commands/shell_editor.hpp"
#include "ox_colors.hpp"
#include "ox_describe.hpp"
#include "ox_editor.hpp"
#include "ox_history.hpp"
#include "session/identity.hpp"
#include "session/prompt.hpp"

char* current_user = nullptr;
bool system_access = false;

namespace {

std::string log_text;
ox_hsv editor_colours[OX_RL_COLOR_COUNT];

/// Standard input is a terminal, while this lives.
class TypedInput {
public:
    TypedInput() : before_(dup(STDIN_FILENO)) {
        int slave = -1;
        EXPECT_EQ(openpty(&master_, &slave, nullptr, nullptr, nullptr), 0);
        dup2(slave, STDIN_FILENO);
        close(slave);
    }
    ~TypedInput() {
        dup2(before_, STDIN_FILENO);
        close(before_);
        close(master_);
    }
    static void none() {
        int nothing = open("/dev/null", O_RDONLY);
        dup2(nothing, STDIN_FILENO);
        close(nothing);
    }

private:
    int before_;
    int master_ = -1;
};

}  // namespace

void complete_line(const char*, int, json_t*) {}
char* hint_line(const char*) {
    return nullptr;
}
char* describe_line(const char*, int, size_t) {
    return nullptr;
}
void ox_rl_set_colors(const ox_hsv colors[OX_RL_COLOR_COUNT]) {
    memcpy(editor_colours, colors, sizeof(editor_colours));
    log_text += "colours ";
}
void ox_rl_case_insensitive(int on) {
    log_text += on ? "nocase " : "case ";
}
void ox_rl_set_autocomplete_cb(ox_rl_autocomplete_cb callback) {
    log_text += callback == complete_line ? "complete " : callback ? "? " : "no-complete ";
}
void ox_rl_set_hint_cb(ox_rl_hint_cb callback) {
    log_text += callback == hint_line ? "hint " : callback ? "? " : "no-hint ";
}
void ox_rl_set_describe_cb(ox_rl_describe_cb callback) {
    log_text += callback == describe_line ? "describe " : callback ? "? " : "no-describe ";
}
int ox_history_load(const char* path) {
    log_text += std::string("load:") + path + " ";
    return 0;
}
int ox_history_dump(const char* path, int count) {
    log_text += std::string("dump:") + path + ":" + std::to_string(count) + " ";
    return 0;
}
void ox_colors_set_hsv2(ox_hsv colour) {
    printf("<%d,%d,%d>", colour.hue, colour.saturation, colour.value);
}
void ox_colors_reset(void) {
    printf("</>");
}

namespace {

struct Outcome {
    int result;
    std::string out;
};

Outcome call(CommandHandler handler, const char* name, std::vector<const char*> words) {
    json_t* args = json_array();
    for (const char* word : words) json_array_append_new(args, json_string(word));
    log_text.clear();
    testing::internal::CaptureStdout();
    int result = handler(name, args);
    fflush(stdout);
    json_decref(args);
    return {result, testing::internal::GetCapturedStdout()};
}

class Look : public testing::Test {
protected:
    void SetUp() override {
        memcpy(scheme_, colour_scheme, sizeof(scheme_));
        current_user = nullptr;
        system_access = false;
    }
    void TearDown() override { memcpy(colour_scheme, scheme_, sizeof(scheme_)); }

private:
    ox_hsv scheme_[COLOUR_COUNT];
};

TEST_F(Look, ColorShowsAndChanges) {
    Outcome o = call(color_command, "color", {"hint"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, "<120,100,55>120 100 55\n</>");
    EXPECT_EQ(call(color_command, "color", {"prompt", "*", "*", "50"}).out, "<220,78,50>220 78 50\n</>");
    EXPECT_EQ(editor_colours[0].value, 50);
    EXPECT_EQ(call(color_command, "color", {"prompt", "70000"}).out, "<4464,78,50>4464 78 50\n</>");
    EXPECT_EQ(call(color_command, "color", {"prompt", "1", "300", "256"}).out, "<1,44,0>1 44 0\n</>");
    EXPECT_EQ(call(color_command, "color", {"root-prompt", "7"}).out, "<7,100,100>7 100 100\n</>");
    EXPECT_EQ(call(color_command, "color", {"autocomplete", "8"}).out, "<8,100,55>8 100 55\n</>");
}

TEST_F(Look, WithSystemAccessThePromptHasTheRootColour) {
    system_access = true;
    call(color_command, "color", {"prompt", "1"});
    EXPECT_EQ(editor_colours[0].hue, 0);
    call(color_command, "color", {"root-prompt", "2"});
    EXPECT_EQ(editor_colours[0].hue, 2);
}

TEST_F(Look, ColorMisuse) {
    const std::vector<const char*> rows[] = {
        {},
        {"pink"},
        {"Prompt"},
        {"prompt", "abc"},
        {"prompt", "1", "-1"},
        {"prompt", "1", "2", "3x"},
        {"hint", ""},
    };
    for (const auto& row : rows) {
        Outcome o = call(color_command, "color", row);
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(
            o.out,
            "syntax: color <prompt|root-prompt|autocomplete|hint> [<hue>|* <saturation>|* <value>|*]\n");
        EXPECT_EQ(log_text, "");
        EXPECT_EQ(colour_scheme[COLOUR_PROMPT].hue, 220);
    }
}

TEST_F(Look, Opt) {
    const struct {
        const char* option;
        const char* state;
        const char* log;
    } rows[] = {
        {"autocomplete", "on", "nocase complete "},
        {"autocomplete", "off", "nocase no-complete "},
        {"hint", "on", "hint "},
        {"hint", "off", "no-hint "},
    };
    for (const auto& row : rows) {
        Outcome o = call(opt_command, "opt", {row.option, row.state});
        EXPECT_EQ(o.result, 0);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(log_text, row.log);
    }
    for (const auto& row : {std::vector<const char*>{},
                            {"hint"},
                            {"hint", "maybe"},
                            {"hints", "on"},
                            {"Hint", "on"},
                            {"hint", "on", "off"}}) {
        Outcome o = call(opt_command, "opt", row);
        EXPECT_EQ(o.result, -1);
        EXPECT_EQ(o.out, "syntax: opt autocomplete|hint on|off");
        EXPECT_EQ(log_text, "");
    }
}

TEST_F(Look, Clear) {
    Outcome o = call(clear_command, "clear", {"x"});
    EXPECT_EQ(o.result, 0);
    EXPECT_EQ(o.out, "\033[2J\033[H");
}

TEST_F(Look, HandingTheEditorOver) {
    TypedInput input;
    log_text.clear();
    editor_shell_off();  // there was no shell: its history file is left alone
    EXPECT_EQ(log_text, "nocase no-complete no-hint no-describe ");
    log_text.clear();
    editor_shell_on();
    EXPECT_EQ(log_text, "nocase complete hint describe load:/tmp/.obxc.hist ");
    log_text.clear();
    editor_shell_off();
    EXPECT_EQ(log_text, "nocase no-complete no-hint no-describe dump:/tmp/.obxc.hist:-1 ");
    log_text.clear();
    input.none();  // the terminal went away
    editor_shell_off();
    EXPECT_EQ(log_text, "nocase no-complete no-hint no-describe dump:/tmp/.obxc.hist:-1 ");
    editor_shell_on();  // nobody types
    log_text.clear();
    editor_shell_off();
    EXPECT_EQ(log_text, "nocase no-complete no-hint no-describe ");
}

}  // namespace
