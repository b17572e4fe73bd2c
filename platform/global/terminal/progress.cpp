#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_out_buffer.hpp"
#include "ox_progress.hpp"
#include "ox_str.hpp"
#include "screen.hpp"
#include "width.hpp"

namespace {

ox_str last;  // the bar that is drawn

}  // namespace

void ox_rl_draw_progressbar(int percent, const char* label) {
    if (!ox_out_is_terminal()) return;
    if (percent < 0) percent = 0;
    if (percent > 100) percent = 100;
    if (!label) label = "";

    size_t columns = ox_screen_columns();
    // The last column stays free, so that no terminal wraps the row: label, " [", "] ", "100%".
    size_t labelled = terminal_cut(label, strlen(label), columns > 9 ? columns - 9 : 0);
    size_t taken = terminal_text_width(label, labelled) + 9;
    size_t width = columns > taken ? columns - taken : 0;
    size_t full = width * percent / 100;

    ox_str bar = {};
    ox_str_printf(&bar, "\r%.*s [", static_cast<int>(labelled), label);
    for (size_t i = 0; i < width; i++) ox_str_add_n(&bar, i < full ? "#" : ".", 1);
    ox_str_printf_append(&bar, "] %3d%%", percent);
    bool same = ox_str_length(&bar) == ox_str_length(&last) &&
                strcmp(ox_dynarray_get(&bar), ox_dynarray_get(&last)) == 0;
    if (!same) {
        fputs(ox_dynarray_get(&bar), stdout);
        ox_out_push();
        ox_str_replace_text(&last, ox_dynarray_get(&bar));
    }
    free(bar.data);
}
