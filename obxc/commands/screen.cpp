#include "commands/screen.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/completion.hpp"
#include "commands/words.hpp"
#include "ox_colors.hpp"
#include "ox_editor.hpp"
#include "ox_string.hpp"
#include "session/prompt.hpp"

namespace {

constexpr const char* COLOUR_WORDS[COLOUR_COUNT] = {"root-prompt", "prompt", "autocomplete", "hint"};

bool same(const char* a, const char* b) {
    return a && strcmp(a, b) == 0;
}

int colour_by_word(const char* word) {
    for (int i = 0; i < COLOUR_COUNT; i++) {
        if (same(word, COLOUR_WORDS[i])) return i;
    }
    return -1;
}

/// Reads one component; a missing word or "*" keeps what is there. No range is enforced: a number that does
/// not fit loses its upper bits.
template <typename T>
int component_read(const char* word, T* component) {
    if (!word || same(word, "*")) return 0;
    uint64_t number;
    if (ox_string_strntoul(word, -1, 10, &number) < 0) return -1;
    *component = static_cast<T>(number);
    return 0;
}

int color_syntax(const char* name) {
    printf("syntax: %s <prompt|root-prompt|autocomplete|hint> [<hue>|* <saturation>|* <value>|*]\n", name);
    return -1;
}

}  // namespace

int clear_command(const char*, json_t*) {
    for (const char* c = "\033[2J\033[H"; *c; c++) putchar(*c);
    return 0;
}

int color_command(const char* name, json_t* args) {
    int selected = colour_by_word(word_at(args, 0));
    if (selected < 0) return color_syntax(name);
    ox_hsv scheme[COLOUR_COUNT];
    memcpy(scheme, colour_scheme, sizeof(scheme));
    ox_hsv* colour = &scheme[selected];
    if (component_read(word_at(args, 1), &colour->hue) < 0 ||
        component_read(word_at(args, 2), &colour->saturation) < 0 ||
        component_read(word_at(args, 3), &colour->value) < 0) {
        return color_syntax(name);
    }
    colour_apply(scheme);
    ox_colors_set_hsv2(*colour);
    printf("%d %d %d\n", colour->hue, colour->saturation, colour->value);
    ox_colors_reset();
    return 0;
}

int opt_command(const char* name, json_t* args) {
    const char* option = word_at(args, 0);
    const char* state = word_at(args, 1);
    bool on = same(state, "on");
    bool known = same(option, "autocomplete") || same(option, "hint");
    if (json_array_size(args) != 2 || !known || (!on && !same(state, "off"))) {
        printf("syntax: %s autocomplete|hint on|off", name);  // no newline: scripts compare this text
        return -1;
    }
    if (same(option, "autocomplete")) {
        ox_rl_case_insensitive(1);
        ox_rl_set_autocomplete_cb(on ? complete_line : nullptr);
    } else {
        ox_rl_set_hint_cb(on ? hint_line : nullptr);
    }
    return 0;
}

const Offer color_offers[] = {{1, 1, offer_keywords, 0, "autocomplete hint prompt root-prompt"}, {}};
const Offer opt_offers[] = {
    {1, 1, offer_keywords, 0, "autocomplete hint"}, {2, 2, offer_keywords, 0, "on off"}, {}};
