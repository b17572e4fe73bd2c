#include "describe.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <stdlib.h>

#include "completion.hpp"
#include "ox_describe.hpp"
#include "ox_out.hpp"
#include "screen.hpp"

namespace {

struct Describe {
    ox_rl_describe_cb callback;
    char* text;  // what is to be shown, or null
} describe;

int describe_key(int, int) {
    if (!describe.callback) return rl_ding();
    free(describe.text);
    describe.text = nullptr;  // the callback may be left by a jump
    int begin = completion_row_begin();
    completion_may_wait(true);
    describe.text = describe.callback(rl_line_buffer + begin, rl_point - begin, ox_screen_columns());
    completion_may_wait(false);
    return describe.text ? 0 : rl_ding();
}

}  // namespace

void ox_rl_set_describe_cb(ox_rl_describe_cb callback) {
    describe.callback = callback;
}

void describe_name(void) {
    rl_add_funmap_entry("describe-word", describe_key);
}

void describe_bind(void) {
    // F1 of xterm, of a VT220 and of Linux; Alt-h. In vi's insertion mode, Alt-h is the way out and to the
    // left.
    static const char* const sequences[] = {"\\eOP", "\\e[11~", "\\e[[A", "\\eh"};
    enum { F1_COUNT = 3, ALL_COUNT };
    for (int i = 0; i < ALL_COUNT; i++)
        rl_bind_keyseq_if_unbound_in_map(sequences[i], describe_key, rl_get_keymap_by_name("emacs-standard"));
    for (int i = 0; i < F1_COUNT; i++)
        rl_bind_keyseq_if_unbound_in_map(sequences[i], describe_key, rl_get_keymap_by_name("vi-insert"));
}

bool describe_waits(void) {
    return describe.text != nullptr;
}

void describe_print(void) {
    ox_out_lines(describe.text);
    free(describe.text);
    describe.text = nullptr;
}
