#include "terminfo.hpp"

// The macros of its capabilities would rename ours.
#define NCURSES_NOMACROS
#include <curses.h>
#include <stdint.h>
#include <term.h>
#include <termcap.h>
#include <unistd.h>

namespace {

bool has(const char* capability) {
    const char* sequence = tigetstr(capability);
    return sequence && reinterpret_cast<intptr_t>(sequence) != -1 && *sequence;
}

}  // namespace

void terminfo_send_no_padding(void) {
    ospeed = 0;
}

Terminfo terminfo_find(const char* term) {
    Terminfo info = {};
    TERMINAL* before = cur_term;
    int error = 0;
    int status = setupterm(term, STDOUT_FILENO, &error);
    terminfo_send_no_padding();
    if (status != OK) {
        set_curterm(before);
        return info;
    }
    int colors = tigetnum("colors");
    bool direct = tigetflag("RGB") > 0 || tigetnum("RGB") > 0;
    info = {true, direct ? 1 << 24 : colors > 0 ? colors : 0, has("el") && (has("cub") || has("cub1"))};
    TERMINAL* own = cur_term;
    set_curterm(before);
    if (own != before) del_curterm(own);
    return info;
}
