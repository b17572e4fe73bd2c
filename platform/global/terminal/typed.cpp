#include "typed.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/keymaps.h>
#include <readline/readline.h>
#include <string.h>
#include <unistd.h>

#include "guard.hpp"
#include "ox_str.hpp"
#include "ox_wait.hpp"
#include "screen.hpp"
#include "setup.hpp"

namespace {

enum { COLUMN_UNKNOWN = -1, COLUMN_NONE = -2 };

struct Row {
    bool known;          // readline drew the line last, with the cursor at its end
    ox_str line;         // the line as it is on the screen
    size_t ahead;        // characters of it that readline did not draw
    int column;          // of the cursor
    int columns;         // of the screen
    const char* prompt;  // as readline drew it
} row;

struct Typed {
    bool is_insert_key;  // the key that readline has taken last inserts itself
    bool is_held;
    bool is_behind;
    int is_plain_row;  // -1: to be found out
} typed = {.is_plain_row = -1};

const size_t special_state = RL_STATE_ISEARCH | RL_STATE_NSEARCH | RL_STATE_VIMOTION | RL_STATE_NUMERICARG |
                             RL_STATE_MULTIKEY | RL_STATE_CHARSEARCH | RL_STATE_METANEXT | RL_STATE_DONE |
                             RL_STATE_COMPLETING | RL_STATE_MACROINPUT | RL_STATE_INPUTPENDING;

int screen_columns(void) {
    int rows = 0;
    int columns = 0;
    rl_get_screen_size(&rows, &columns);
    return columns;
}

bool region_is_marked(void) {
#if RL_READLINE_VERSION >= 0x0801
    return rl_mark_active_p();
#else
    return false;
#endif
}

bool is_printable(char c) {
    return c >= 0x20 && c < 0x7F;
}

/// Columns of a text without anything but printable ASCII and what \001 and \002 enclose; COLUMN_NONE for
/// any other.
int plain_width(const char* text) {
    int width = 0;
    for (; *text != '\0'; ++text) {
        if (*text == '\001') {
            text = strchr(text, '\002');
            if (!text) return COLUMN_NONE;
            continue;
        }
        if (!is_printable(*text)) return COLUMN_NONE;
        width++;
    }
    return width;
}

int cursor_column(void) {
    int prompt = plain_width(row.prompt);
    int line = plain_width(ox_dynarray_get(&row.line));
    return prompt < 0 || line < 0 ? COLUMN_NONE : prompt + line;
}

rl_command_func_t* command_of(int key) {
    if (RL_ISSTATE(special_state) || rl_pending_input) return nullptr;
    Keymap map = rl_get_keymap();
    return map && map[key].type == ISFUNC ? map[key].function : nullptr;
}

bool extends_row(void) {
    size_t before = ox_str_length(&row.line);
    return static_cast<size_t>(rl_end) >= before &&
           memcmp(ox_dynarray_get(&row.line), rl_line_buffer, before) == 0;
}

/// Whether the line is the drawn one with characters behind it that have their place on the row.
bool is_longer(void) {
    // A key that readline has read ahead may do anything, and typed_key is not called for it.
    if (!row.known || rl_pending_input || RL_ISSTATE(special_state)) return false;
    size_t before = ox_str_length(&row.line);
    if (before == 0 || static_cast<size_t>(rl_end) <= before || rl_point != rl_end || !extends_row())
        return false;
    if (rl_display_prompt != row.prompt || screen_columns() != row.columns) return false;
    if (row.column == COLUMN_UNKNOWN) row.column = cursor_column();
    // The last column stays free: behind it the cursor's place differs between terminals.
    int count = rl_end - static_cast<int>(before);
    if (row.column < 0 || row.column + count >= row.columns) return false;
    for (size_t i = before; i < static_cast<size_t>(rl_end); i++) {
        if (!is_printable(rl_line_buffer[i])) return false;
    }
    return true;
}

void append(const char* text, size_t size) {
    fwrite(text, 1, size, rl_outstream);
    ox_str_add_n(&row.line, text, size);
    row.ahead += size;
    row.column += static_cast<int>(size);
}

void draw_whole(void) {
    if (row.ahead > 0) {
        fprintf(rl_outstream, "\033[%zuD", row.ahead);
        // readline does not know of the characters ahead: it would leave those that are to go on the screen.
        if (!extends_row()) fputs("\033[K", rl_outstream);
        row.ahead = 0;
    }
    rl_redisplay();
    row.known = rl_point == rl_end && rl_display_prompt && typed_row_is_plain() && guard_echoes() &&
                !region_is_marked();
    row.prompt = rl_display_prompt;
    row.columns = screen_columns();
    row.column = COLUMN_UNKNOWN;
    ox_str_clear(&row.line);
    ox_str_add_n(&row.line, rl_line_buffer, rl_end);
}

}  // namespace

bool typed_row_is_plain(void) {
    if (typed.is_plain_row < 0) {
        auto on = [](const char* name) {
            const char* value = rl_variable_value(name);
            return value && strcmp(value, "on") == 0;
        };
        // Where readline puts more on the row than prompt and line, only readline knows where the line
        // ends.
        typed.is_plain_row = ox_rl_get_terminal_capabilities(nullptr)->cursor &&
                             !on("horizontal-scroll-mode") && !on("show-mode-in-prompt") &&
                             !on("mark-modified-lines");
    }
    return typed.is_plain_row;
}

int typed_inputrc_key(int count, int key) {
    typed.is_plain_row = -1;
    int result = rl_re_read_init_file(count, key);
    setup_commands();
    return result;
}

bool typed_key_inserts(int key) {
    return key >= 0 && command_of(key) == rl_insert;
}

void typed_key(int key) {
    rl_command_func_t* command = key >= 0 ? command_of(key) : nullptr;
    typed.is_insert_key = command == rl_insert;
    if (!row.known) return;
    bool is_plain_key = typed.is_insert_key && is_printable(static_cast<char>(key));
    // Enter leaves the row as it is.
    if (is_plain_key || command == rl_newline) return;
    if (row.ahead > 0) draw_whole();
    row.known = false;
}

void typed_hold(bool on) {
    typed.is_held = on;
}

bool typed_defer(void) {
    typed.is_behind = typed.is_behind || typed.is_held;
    return typed.is_held;
}

bool typed_is_behind(void) {
    return typed.is_behind;
}

void typed_catch_up(void) {
    if (typed.is_behind) typed_draw();
}

int typed_input_waits(void) {
    if (typed.is_insert_key) return 0;
    int timeout_us = rl_set_keyboard_input_timeout(-1);
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    return ox_wait_poll(&input, 1, (timeout_us + 999) / 1000) > 0;
}

void typed_forget(void) {
    row.known = false;
    row.ahead = 0;
    typed.is_behind = false;
}

void typed_draw(void) {
    typed.is_behind = false;
    size_t before = ox_str_length(&row.line);
    if (is_longer()) {
        append(rl_line_buffer + before, rl_end - before);
    } else {
        draw_whole();
    }
}
