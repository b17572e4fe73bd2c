#include <stdio.h>
#include <string.h>

#include "completion.hpp"
#include "ox_note.hpp"
#include "ox_out_buffer.hpp"
#include "screen.hpp"
#include "width.hpp"

namespace {
bool noted = false;
}

bool ox_rl_note(const char* text) {
    bool was_noted = noted;
    noted = text && ox_out_is_terminal() && ox_rl_get_terminal_capabilities(nullptr)->cursor;
    if (was_noted) fputs("\0338\033[J", stdout);
    if (noted) {
        completion_end_line();
        // Down and up again makes sure that there is a row below; only then is the cursor's place remembered.
        fputs("\033D\033M\0337\r\n", stdout);
        size_t columns = ox_screen_columns();
        size_t size = terminal_cut(text, strlen(text), columns > 1 ? columns - 1 : 0);
        fwrite(text, 1, size, stdout);
    }
    if (was_noted || noted) ox_out_push();
    return was_noted;
}
