#include "editor.hpp"

#include <errno.h>
#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/history.h>
#include <readline/readline.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "bytes.hpp"
#include "completion.hpp"
#include "describe.hpp"
#include "guard.hpp"
#include "hint.hpp"
#include "ox_echo.hpp"
#include "ox_memory.hpp"
#include "ox_out_buffer.hpp"
#include "ox_str.hpp"
#include "ox_string.hpp"
#include "paste.hpp"
#include "plain.hpp"
#include "row.hpp"
#include "screen.hpp"
#include "setup.hpp"
#include "typed.hpp"

EditorState editor = {.boundaries = OX_RL_SHELL_BOUNDARIES, .fed = -1};

struct ox_rl_async {
    char* prompt;  // as it was given
    char* drawn;   // with its colour
};

namespace {

void take_line(char* line) {
    editor.finished = true;
    editor.ctrl_d = !line;
    editor.line = line;
    rl_callback_handler_remove();
    editor.phase = EDITOR_IDLE;
    guard_off();
    hint_forget();
    typed_forget();
    row_forget();
    paste_queue_lines(line);
    fflush(rl_outstream);
    ox_out_row_ended();
}

void draw_nothing(void) {}

/// Ends the edited line without a result; what is drawn of it stays.
void abandon_line(void) {
    if (!editor_has_line()) return;
    hint_forget();
    typed_forget();
    // readline draws the line anew when it forgets it.
    rl_redisplay_function = draw_nothing;
    rl_free_line_state();
    rl_callback_sigcleanup();
    rl_redisplay_function = hint_redisplay;
    rl_callback_handler_remove();
    rl_deprep_terminal();  // which that leaves out where the line was only being opened
    guard_off();
    editor.phase = EDITOR_IDLE;
    editor.fed = -1;
    row_forget();
    paste_forget();
}

/// The prompt in its colour, behind what stands on its row.
char* coloured(const char* prompt) {
    char start[EDITOR_COLOR_SIZE];
    if (editor_color(OX_RL_COLOR_PROMPT, start) == 0) return ox_str_printf_new("%s%s", row_text(), prompt);
    return ox_str_printf_new("%s\001%s\002%s\001\033[0m\002", row_text(), start, prompt);
}

/// Takes a new prompt; true when it differs from the one before.
bool take_prompt(ox_rl_async* handle, const char* prompt) {
    char* drawn = coloured(prompt);
    bool same = handle->drawn && strcmp(handle->drawn, drawn) == 0;
    if (handle->prompt != prompt) {
        char* copy = ox_memory_text(prompt);
        free(handle->prompt);
        handle->prompt = copy;
    }
    free(handle->drawn);
    handle->drawn = drawn;
    return !same;
}

void show_line(ox_rl_async* handle, bool new_prompt) {
    if (editor_is_shown() && !new_prompt) return;
    if (editor_is_shown()) {
        hint_erase();
        rl_clear_visible_line();
    }
    if (new_prompt) rl_set_prompt(handle->drawn);
    if (!editor_is_shown()) rl_reset_screen_size();
    if (!editor_has_keys()) {
        guard_before();
        rl_prep_terminal(1);
        guard_on();
    }
    if (!editor_is_shown()) editor.phase = EDITOR_SHOWN;
    editor_redraw();
}

/// Lets readline take the screen's new size, and draw the line on it. False when it is the old size.
bool take_size(void) {
    int rows[2] = {};
    int columns[2] = {};
    rl_get_screen_size(&rows[0], &columns[0]);
    // readline moves to the old line's place only when it draws by itself.
    rl_redisplay_function = rl_redisplay;
    rl_resize_terminal();
    rl_redisplay_function = hint_redisplay;
    rl_get_screen_size(&rows[1], &columns[1]);
    return rows[0] != rows[1] || columns[0] != columns[1];
}

/// The keys of one line end in one call of readline, but for what its macros and typed-ahead keys leave.
void run_key(int key) {
    editor.fed = key;
    for (int i = 0; i < 8 && editor.fed >= 0 && editor_has_line(); i++) rl_callback_read_char();
    editor.fed = -1;
}

void feed_key(int key) {
    if (editor.phase == EDITOR_ASKING) {
        typed_key(-1);
        if (completion_answer(key)) return;
    }
    if (paste_take_back()) {
        typed_key(-1);
        hint_erase();
        paste_insert_line();
        rl_redisplay();
        run_key('\r');
        return;
    }
    bool inserts = typed_key_inserts(key);
    // Whatever another key does, the hint must not be in its way.
    if (!inserts) {
        hint_erase();
        typed_catch_up();
    }
    typed_key(key);
    typed_hold(inserts);
    run_key(key);
    typed_hold(false);
}

/// Takes the key, and what was typed ahead of the screen: it is drawn once, not key by key. No further than
/// to the line's end; what follows it may belong to the command that it starts.
void feed_keys(int key) {
    int left = 4096;  // so that the line is drawn while somebody types without a pause, too
    while (key >= 0) {
        feed_key(key);
        if (editor.finished || paste_waiting() || describe_waits()) return;
        key = --left > 0 ? bytes_at_hand() : OX_RL_NO_KEY;
    }
    if (typed_is_behind()) hint_redisplay();
}

/// Shows what a key has asked for above the line, as what others write.
void show_description(ox_rl_async* handle) {
    ox_rl_async_hide(handle);
    describe_print();
    if (!editor.finished) ox_rl_async_prepare(handle, handle->prompt);
}

}  // namespace

void editor_redraw(void) {
    hint_forget();
    typed_forget();
    rl_on_new_line();
    (*rl_redisplay_function)();
}

size_t editor_color(ox_rl_color which, char sequence[EDITOR_COLOR_SIZE]) {
    *sequence = '\0';
    return editor.has_colors ? ox_colors_sequence(editor.colors[which], sequence, EDITOR_COLOR_SIZE) : 0;
}

void ox_rl_set_autocomplete_cb(ox_rl_autocomplete_cb callback) {
    editor.complete = callback;
}

void ox_rl_set_hint_cb(ox_rl_hint_cb callback) {
    editor.hint = callback;
}

void ox_rl_set_word_boundaries(const char* characters) {
    editor.boundaries = OX_RL_SHELL_BOUNDARIES;
    if (!characters) return;
    ox_string_strlcpy(editor.own_boundaries, characters, sizeof editor.own_boundaries);
    editor.boundaries = editor.own_boundaries;
}

void ox_rl_case_insensitive(int on) {
    editor.case_sensitive = !on;
}

void ox_rl_set_colors(const ox_hsv colors[OX_RL_COLOR_COUNT]) {
    memcpy(editor.colors, colors, sizeof editor.colors);
    editor.has_colors = true;
}

ox_rl_async* ox_rl_async_new(void) {
    return static_cast<ox_rl_async*>(ox_memory_new(sizeof(ox_rl_async)));
}

void ox_rl_async_free(ox_rl_async* handle) {
    if (!handle) return;
    ox_rl_async_restore(handle);
    ox_rl_async_clear(handle);
    free(handle->prompt);
    free(handle->drawn);
    free(handle);
}

void ox_rl_async_prepare(ox_rl_async* handle, const char* prompt) {
    bool new_prompt = take_prompt(handle, prompt);
    if (editor_has_line()) {
        show_line(handle, new_prompt);
        return;
    }
    editor.phase = screen_has_keyboard() ? EDITOR_SHOWN : EDITOR_PLAIN;
    if (editor.phase == EDITOR_PLAIN) return;
    setup_readline();
    rl_reset_screen_size();
    hint_forget();
    guard_before();
    row_take();
    rl_prep_terminal(1);
    row_start();
    take_prompt(handle, prompt);
    setup_line(handle->drawn, take_line);
    guard_on();
}

void ox_rl_async_hide(ox_rl_async*) {
    if (!editor_is_shown()) return;
    hint_erase();
    typed_forget();
    if (editor.phase == EDITOR_ASKING) {
        // The line above stays, as after an answer.
        fputs("\r\033[K", stdout);
        completion_forget();
        row_forget();
    } else {
        rl_clear_visible_line();
        row_end();
    }
    editor.phase = EDITOR_HIDDEN;
}

void ox_rl_async_restore(ox_rl_async* handle) {
    if (!editor_has_keys()) return;
    ox_rl_async_hide(handle);
    rl_deprep_terminal();
    guard_off();
    editor.phase = EDITOR_AWAY;
    ox_out_push();
}

void ox_rl_async_to_end(ox_rl_async*) {
    if (editor.phase != EDITOR_SHOWN) return;
    typed_key(-1);
    hint_erase();
    rl_point = rl_end;
    typed_draw();
    ox_out_push();
}

void ox_rl_async_clear(ox_rl_async*) {
    paste_drop();
    plain_drop();
    completion_forget();
    if (editor_is_shown()) hint_erase_above();
    abandon_line();
}

int ox_rl_getch(void) {
    if (guard_hung_up()) return -1;
    if (paste_waiting()) return paste_getch();
    paste_typed();
    return bytes_read();
}

bool ox_rl_pending(void) {
    return paste_waiting() || bytes_kept() || guard_hung_up() != 0;
}

char* ox_rl_async_feed(ox_rl_async* handle, int key, int* status) {
    editor.ctrl_d = false;
    *status = 1;
    if (key == OX_RL_NO_KEY) return nullptr;
    if (editor.phase == EDITOR_PLAIN) return plain_feed(key, status);
    *status = 0;
    if (key < 0) {
        editor.ctrl_d = true;
        return nullptr;
    }
    ox_rl_follow_terminal();
    if (!editor_is_shown()) ox_rl_async_prepare(handle, handle->prompt ? handle->prompt : "");
    editor.finished = false;
    editor.line = nullptr;
    feed_keys(key);
    if (describe_waits()) show_description(handle);
    if (!editor.finished) {
        *status = 1;
        return nullptr;
    }
    // With bracketed paste readline itself ends the row.
    if (editor.ctrl_d && !editor.bracketed) putchar('\n');
    return editor.line;
}

void ox_rl_yield_signals(void (*handler)(int)) {
    guard_yield(handler);
}

int ox_rl_hung_up(void) {
    return guard_hung_up();
}

bool ox_rl_ctrl_d_is_pressed(void) {
    return editor.ctrl_d;
}

bool ox_rl_follow_terminal(void) {
    bool resumed = guard_take_resume();
    bool resized = guard_take_resize();
    if (!editor_is_shown()) return resumed || resized;
    if (resumed) {
        completion_forget();
        rl_reset_screen_size();
        if (editor.bracketed) fputs("\033[?2004h", stdout);
        editor_redraw();
    } else if (resized) {
        if (editor.phase != EDITOR_ASKING) hint_erase();
        if (take_size()) {
            completion_forget();
            hint_forget();
            typed_forget();
        }
        if (editor.phase != EDITOR_ASKING) hint_redisplay();
    }
    return resumed || resized;
}

void ox_rl_recover(void) {
    paste_drop();
    plain_drop();
    completion_forget();
    if (editor_is_shown()) hint_erase();
    ox_rl_echo_on(-1);
    abandon_line();
    ox_out_push();
}

void ox_rl_give_up(void) {
    if (editor_is_shown()) hint_erase();
    ox_rl_echo_on(-1);
    rl_deprep_terminal();
    guard_off();
    editor.phase = EDITOR_IDLE;
    ox_out_push();
}
