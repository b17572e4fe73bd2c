#include "session/prompt.hpp"

#include <stdio.h>
#include <string.h>

#include "ox_editor.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "session/identity.hpp"

char prompt[384];
char mode_word[16];
ox_hsv colour_scheme[COLOUR_COUNT] = {
    {.hue = 0, .saturation = 100, .value = 100},
    {.hue = 220, .saturation = 78, .value = 100},
    {.hue = 50, .saturation = 100, .value = 55},
    {.hue = 120, .saturation = 100, .value = 55},
};

namespace {

char shown_path[260];

}  // namespace

void prompt_rebuild(void) {
    snprintf(prompt, sizeof(prompt), "%s%sobxc%s:%s> ", current_user ? current_user : "",
             current_user ? "@" : "", mode_word, shown_path);
    // User and path are the daemon's texts: they must not steer the terminal.
    CharsRef plain(ox_out_escape(prompt));
    if (plain) ox_string_strlcpy(prompt, plain, sizeof(prompt));
}

void prompt_set_path(const char* path) {
    ox_string_strlcpy(shown_path, path, sizeof shown_path);
    prompt_rebuild();
}

void prompt_set_mode(const char* word) {
    if (word) {
        snprintf(mode_word, sizeof(mode_word), "-%s", word);
    } else {
        mode_word[0] = '\0';
    }
    prompt_rebuild();
}

void colour_apply(const ox_hsv scheme[COLOUR_COUNT]) {
    if (scheme != colour_scheme) memcpy(colour_scheme, scheme, sizeof(colour_scheme));
    const ox_hsv editor[OX_RL_COLOR_COUNT] = {
        colour_scheme[system_access ? COLOUR_ROOT_PROMPT : COLOUR_PROMPT],
        colour_scheme[COLOUR_HINT],
        colour_scheme[COLOUR_AUTOCOMPLETE],
    };
    ox_rl_set_colors(editor);
}
