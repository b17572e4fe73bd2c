#include "row.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "ox_out_buffer.hpp"
#include "ox_screen.hpp"
#include "ox_str.hpp"
#include "screen.hpp"

namespace {

struct PromptRow {
    bool is_unknown;       // nobody knows where the cursor stands
    ox_str before_prompt;  // what the program wrote in front of it
} row;

/// Whether keys wait, which the terminal itself has shown while a command ran.
bool keys_wait(void) {
    int count = 0;
    return ioctl(STDIN_FILENO, FIONREAD, &count) == 0 && count > 0;
}

bool is_printable(const char* text, size_t size) {
    for (size_t i = 0; i < size; i++) {
        if (text[i] < 0x20 || text[i] > 0x7E) return false;
    }
    return true;
}

/// Starts a row unless the cursor stands at the start of one; on a serial line, where a row of blanks takes
/// its time, in any case.
void start_row(size_t columns) {
    if (ox_out_is_slow()) {
        putchar('\n');
        return;
    }
    const char* erase = rl_get_termcap("ce");
    if (!erase || strncmp(erase, "\033[K", 3) != 0) return;
    // As many blanks as there are columns wrap to the next row only where the cursor was not in column 0.
    printf("%*s\r\033[K", static_cast<int>(columns), "");
}

}  // namespace

void row_take(void) {
    size_t size = 0;
    const char* text = ox_out_open_row(&size);
    bool is_open = ox_out_row_is_open();
    bool is_ours = is_open && size > 0 && is_printable(text, size);
    row.is_unknown = row.is_unknown || (is_open && !is_ours);
    ox_str_clear(&row.before_prompt);
    if (is_ours && !row.is_unknown) ox_str_add_n(&row.before_prompt, text, size);
    ox_out_row_ended();
}

void row_start(void) {
    int rows = 0;
    int columns = 0;
    // readline tells one column less for a terminal whose cursor wraps at once behind the last column.
    rl_get_screen_size(&rows, &columns);
    size_t size = ox_str_length(&row.before_prompt);
    bool starts = row.is_unknown || (size == 0 && keys_wait());
    row.is_unknown = false;
    if (columns <= 0 || !ox_rl_get_terminal_capabilities(nullptr)->cursor) {
        ox_str_clear(&row.before_prompt);
    } else if (starts) {
        start_row(columns);
    } else if (size > 0) {
        // The editor draws the text's last row with the prompt, and so knows where the prompt stands.
        ox_dynarray_cut(&row.before_prompt, 0, (size - 1) / columns * columns);
        putchar('\r');
    }
}

const char* row_text(void) {
    return ox_dynarray_get(&row.before_prompt);
}

void row_end(void) {
    if (ox_str_length(&row.before_prompt) > 0) puts(row_text());
    ox_str_clear(&row.before_prompt);
}

void row_forget(void) {
    ox_str_clear(&row.before_prompt);
}

void ox_rl_row_unknown(void) {
    row.is_unknown = true;
}

void ox_rl_row_leave(void) {
    row.is_unknown = row.is_unknown || ox_out_row_is_open();
}

void ox_rl_end_row(void) {
    if (!screen_has_keyboard()) return;
    putchar('\n');
    ox_out_push();
}
