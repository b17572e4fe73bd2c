// What a terminal can do, by its name. A table instead of terminfo: a one-shot request asks too, and loading
// terminfo would cost it more than the request.
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "locale.hpp"
#include "ox_rl.hpp"

namespace {

struct Family {
    const char* prefix;
    unsigned char depth;  // 0: cursor movement without colour
};

// The first prefix that fits counts.
const Family families[] = {
    {"xterm-mono", 0}, {"xterm-kitty", 3}, {"xterm-ghostty", 3}, {"xterm", 1},   {"screen", 1},
    {"tmux", 1},       {"linux", 1},       {"vt100", 0},         {"vt102", 0},   {"vt220", 0},
    {"vt320", 0},      {"vt420", 0},       {"vt52", 0},          {"rxvt", 1},    {"ansi-m", 0},
    {"ansi", 1},       {"konsole", 1},     {"gnome", 1},         {"vte", 1},     {"putty", 1},
    {"alacritty", 3},  {"foot", 3},        {"kitty", 3},         {"wezterm", 3}, {"ghostty", 3},
    {"contour", 3},    {"st-", 1},         {"stterm", 1},        {"cygwin", 1},  {"mintty", 1},
    {"eterm", 1},      {"Eterm", 1},       {"iterm", 1},         {"mlterm", 1},  {"mrxvt", 1},
    {"nsterm", 1},     {"teraterm", 1},    {"terminator", 1},    {"jfbterm", 1}, {"kterm", 1},
    {"cons25", 1},     {"pcansi", 1},      {"hurd", 1},          {"aterm", 1},   {"fbterm", 1},
    {"bterm", 1},      {"xfce", 1},        {"sun", 0},           {"dtterm", 1},  {"interix", 1},
    {"qansi", 1},      {"wsvt25", 1},      {"beterm", 1},
};

int family_depth(const char* term) {
    if (strcmp(term, "st") == 0) return 1;
    for (const Family& family : families) {
        if (strncmp(term, family.prefix, strlen(family.prefix)) == 0) return family.depth;
    }
    return -1;
}

}  // namespace

const ox_rl_capabilities* ox_rl_get_terminal_capabilities(const char* term) {
    static ox_rl_capabilities result;
    result = {};
    result.line_drawing = terminal_draws_lines();
    bool own = !term;
    if (own) term = getenv("TERM");
    if (!term || !*term || strcmp(term, "dumb") == 0) return &result;

    int depth = family_depth(term);
    if (strstr(term, "256color") && depth != 3) depth = 2;
    if (strstr(term, "-direct") || strstr(term, "truecolor")) depth = 3;
    if (depth <= 0 && strstr(term, "color")) depth = 1;
    if (depth < 0) return &result;
    const char* colours = getenv("COLORTERM");
    if (own && depth > 0 && colours) {
        if (strcasecmp(colours, "truecolor") == 0 || strcasecmp(colours, "24bit") == 0) depth = 3;
    }
    result.cursor = 1;
    result.depth = static_cast<unsigned char>(depth);
    result.color = depth > 0;
    return &result;
}
