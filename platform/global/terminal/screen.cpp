#include "screen.hpp"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "ox_string.hpp"
#include "terminfo.hpp"

namespace {

enum { DEPTH_UNKNOWN = -1, DEPTH_NONE = 0, DEPTH_16 = 1, DEPTH_256 = 2, DEPTH_TRUE = 3 };

/// What was found out about the terminal so far.
struct Screen {
    int is_terminal;  // standard output; -1 while nobody asked
    int is_slow;      // the same
    int depth;        // of colours written; DEPTH_UNKNOWN while nobody asked
    bool has_locale;
    const char* stand_in;             // of the environment's locale
    char described[32];               // the terminal whose description was read last
    Terminfo info;                    // what it says
    ox_rl_capabilities capabilities;  // as they were asked for last
} screen = {.is_terminal = -1, .is_slow = -1, .depth = DEPTH_UNKNOWN};

struct Family {
    const char* prefix;
    signed char depth;
};

// The first prefix that fits counts. These names are known without the system's descriptions: the usual ones,
// since reading one would take a one-shot request longer than its request, and those of today's terminals,
// which small systems have no description of.
const Family families[] = {
    {"xterm-mono", DEPTH_NONE}, {"xterm-kitty", DEPTH_TRUE}, {"xterm-ghostty", DEPTH_TRUE},
    {"xterm", DEPTH_16},        {"screen", DEPTH_16},        {"tmux", DEPTH_16},
    {"linux", DEPTH_16},        {"rxvt", DEPTH_16},          {"vt100", DEPTH_NONE},
    {"vt102", DEPTH_NONE},      {"vt220", DEPTH_NONE},       {"vt320", DEPTH_NONE},
    {"vt420", DEPTH_NONE},      {"vte", DEPTH_16},           {"konsole", DEPTH_16},
    {"gnome", DEPTH_16},        {"putty", DEPTH_16},         {"mintty", DEPTH_16},
    {"iterm", DEPTH_16},        {"st-", DEPTH_16},           {"alacritty", DEPTH_TRUE},
    {"foot", DEPTH_TRUE},       {"kitty", DEPTH_TRUE},       {"wezterm", DEPTH_TRUE},
    {"ghostty", DEPTH_TRUE},    {"contour", DEPTH_TRUE},
};

int family_depth(const char* term) {
    if (strcmp(term, "st") == 0) return DEPTH_16;
    for (const Family& family : families) {
        if (strncmp(term, family.prefix, strlen(family.prefix)) == 0) return family.depth;
    }
    return DEPTH_UNKNOWN;
}

int described_depth(const char* term) {
    if (strcmp(screen.described, term) != 0) {
        screen.info = terminfo_find(term);
        ox_string_strlcpy(screen.described, term, sizeof screen.described);
    }
    if (!screen.info.found || !screen.info.cursor) return DEPTH_UNKNOWN;
    int colors = screen.info.colors;
    return colors >= 1 << 24 ? DEPTH_TRUE : colors >= 256 ? DEPTH_256 : colors >= 8 ? DEPTH_16 : DEPTH_NONE;
}

/// The depth of colour of a terminal that can move its cursor; DEPTH_UNKNOWN for one that cannot.
int depth_of(const char* term) {
    int depth = family_depth(term);
    bool says_256 = strstr(term, "256color");
    bool says_true = strstr(term, "-direct") || strstr(term, "truecolor");
    if (says_true) return DEPTH_TRUE;
    if (says_256) return depth == DEPTH_TRUE ? DEPTH_TRUE : DEPTH_256;
    if (depth <= DEPTH_NONE && strstr(term, "color")) return DEPTH_16;
    return depth == DEPTH_UNKNOWN ? described_depth(term) : depth;
}

bool environment_has_true_colour(void) {
    const char* colours = getenv("COLORTERM");
    return colours && (strcasecmp(colours, "truecolor") == 0 || strcasecmp(colours, "24bit") == 0);
}

/// The locale that the environment names for characters, or null.
const char* named_locale(void) {
    static const char* const names[] = {"LC_ALL", "LC_CTYPE", "LANG"};
    for (const char* name : names) {
        const char* value = getenv(name);
        if (value && *value) return value;
    }
    return nullptr;
}

bool is_c_locale(const char* locale) {
    return strcmp(locale, "C") == 0 || strcmp(locale, "POSIX") == 0;
}

/// The character set in a locale's name, or null.
const char* charset_of(const char* locale) {
    const char* dot = strchr(locale, '.');
    return dot ? dot + 1 : nullptr;
}

bool is_utf8(const char* charset) {
    return strncasecmp(charset, "utf-8", 5) == 0 || strncasecmp(charset, "utf8", 4) == 0;
}

/// Whether C.UTF-8 may stand in for a locale that is not installed.
bool may_be_utf8(const char* locale) {
    const char* charset = charset_of(locale);
    return !charset || is_utf8(charset);
}

/// Whether trees are drawn with line-drawing characters: in a UTF-8 locale, and on a terminal where the
/// environment names no locale.
bool draws_lines(void) {
    const char* locale = named_locale();
    if (!locale) return isatty(STDOUT_FILENO);
    return !is_c_locale(locale) && screen_is_utf8();
}

}  // namespace

const ox_rl_capabilities* ox_rl_get_terminal_capabilities(const char* term) {
    ox_rl_capabilities* result = &screen.capabilities;
    *result = {};
    result->line_drawing = draws_lines();
    bool own = !term;
    if (own) term = getenv("TERM");
    if (!term || !*term || strcmp(term, "dumb") == 0) return result;
    int depth = depth_of(term);
    if (depth == DEPTH_UNKNOWN) return result;
    if (own && depth > DEPTH_NONE && environment_has_true_colour()) depth = DEPTH_TRUE;
    result->cursor = 1;
    result->depth = static_cast<unsigned char>(depth);
    result->color = depth > DEPTH_NONE;
    return result;
}

bool ox_out_is_terminal(void) {
    if (screen.is_terminal < 0) screen.is_terminal = isatty(STDOUT_FILENO);
    return screen.is_terminal;
}

void ox_out_refresh(void) {
    screen.is_terminal = -1;
    screen.is_slow = -1;
}

bool ox_out_is_slow(void) {
    if (screen.is_slow < 0) {
        struct termios line;
        bool known = ox_out_is_terminal() && tcgetattr(STDOUT_FILENO, &line) == 0;
        speed_t speed = known ? cfgetospeed(&line) : B0;
        screen.is_slow = speed != B0 && speed != B38400 && speed <= B230400;
    }
    return screen.is_slow;
}

int screen_depth(void) {
    if (screen.depth == DEPTH_UNKNOWN) {
        int depth = ox_rl_get_terminal_capabilities(nullptr)->depth;
        screen.depth = depth > DEPTH_NONE ? depth : DEPTH_16;
    }
    return screen.depth;
}

size_t ox_screen_columns(void) {
    struct winsize size;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    const char* columns = getenv("COLUMNS");
    long number = columns ? strtol(columns, nullptr, 10) : 0;
    return number > 0 && number < 10000 ? number : 80;
}

bool screen_has_keyboard(void) {
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
}

bool screen_is_utf8(void) {
    const char* locale = named_locale();
    if (!locale || is_c_locale(locale)) return true;
    const char* charset = charset_of(locale);
    if (!charset) {
        screen_init_locale();
        charset = nl_langinfo(CODESET);
    }
    return is_utf8(charset);
}

const char* screen_init_locale(void) {
    if (screen.has_locale) return screen.stand_in;
    screen.has_locale = true;
    const char* locale = named_locale();
    bool is_named = locale && !is_c_locale(locale);
    if (is_named && (setlocale(LC_CTYPE, "") || !may_be_utf8(locale))) return nullptr;
    screen.stand_in = setlocale(LC_CTYPE, "C.UTF-8") ? "C.UTF-8" : nullptr;
    return screen.stand_in;
}
