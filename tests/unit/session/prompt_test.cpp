// The prompt and the colour scheme.
#include "session/prompt.hpp"

#include <gtest/gtest.h>

#include <string>

#include "ox_editor.hpp"
#include "session/identity.hpp"

char* current_user = nullptr;
bool system_access = false;

namespace {

ox_hsv editor_colours[OX_RL_COLOR_COUNT];

bool same(ox_hsv a, ox_hsv b) {
    return a.hue == b.hue && a.saturation == b.saturation && a.value == b.value;
}

}  // namespace

void ox_rl_set_colors(const ox_hsv colors[OX_RL_COLOR_COUNT]) {
    memcpy(editor_colours, colors, sizeof(editor_colours));
}

namespace {

class Look : public testing::Test {
protected:
    void SetUp() override {
        memcpy(scheme_, colour_scheme, sizeof(scheme_));
        current_user = nullptr;
        system_access = false;
        prompt_set_path("");
        prompt_set_mode(nullptr);
    }
    void TearDown() override { memcpy(colour_scheme, scheme_, sizeof(scheme_)); }

private:
    ox_hsv scheme_[COLOUR_COUNT];
};

TEST_F(Look, Prompt) {
    char root[] = "root";
    EXPECT_STREQ(prompt, "obxc:> ");
    prompt_set_path("Device.Hosts.");
    EXPECT_STREQ(prompt, "obxc:Device.Hosts.> ");
    current_user = root;
    prompt_set_mode("record");
    EXPECT_STREQ(mode_word, "-record");
    EXPECT_STREQ(prompt, "root@obxc-record:Device.Hosts.> ");
    prompt_set_mode("lua(fail)");
    EXPECT_STREQ(prompt, "root@obxc-lua(fail):Device.Hosts.> ");
    prompt_set_mode("abcdefghijklmnop");
    EXPECT_STREQ(mode_word, "-abcdefghijklmn");
    prompt_set_mode(nullptr);
    EXPECT_STREQ(mode_word, "");
    EXPECT_STREQ(prompt, "root@obxc:Device.Hosts.> ");
}

TEST_F(Look, APromptIsCutAtItsBuffer) {
    std::string user(500, 'u');
    current_user = user.data();
    prompt_rebuild();
    EXPECT_EQ(std::string(prompt), std::string(383, 'u'));
}

TEST_F(Look, TheDefaultScheme) {
    const int expected[COLOUR_COUNT][3] = {{0, 100, 100}, {220, 78, 100}, {50, 100, 55}, {120, 100, 55}};
    for (int i = 0; i < COLOUR_COUNT; i++) {
        EXPECT_EQ(colour_scheme[i].hue, expected[i][0]);
        EXPECT_EQ(colour_scheme[i].saturation, expected[i][1]);
        EXPECT_EQ(colour_scheme[i].value, expected[i][2]);
    }
}

TEST_F(Look, TheEditorGetsPromptHintAndAutocomplete) {
    colour_apply(colour_scheme);
    EXPECT_TRUE(same(editor_colours[0], colour_scheme[COLOUR_PROMPT]));
    EXPECT_TRUE(same(editor_colours[1], colour_scheme[COLOUR_HINT]));
    EXPECT_TRUE(same(editor_colours[2], colour_scheme[COLOUR_AUTOCOMPLETE]));
    system_access = true;
    colour_apply(colour_scheme);
    EXPECT_TRUE(same(editor_colours[0], colour_scheme[COLOUR_ROOT_PROMPT]));
}

}  // namespace
