// In the place of the line editor where GNU readline is left out: lines come as the terminal gives them, with
// its own keys to correct them. No completion, no hints.
#include "../global/terminal/editor.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include "../global/terminal/bytes.hpp"
#include "../global/terminal/completion.hpp"
#include "../global/terminal/guard.hpp"
#include "../global/terminal/plain.hpp"
#include "../global/terminal/screen.hpp"
#include "../global/terminal/terminfo.hpp"
#include "ox_completion.hpp"
#include "ox_describe.hpp"
#include "ox_echo.hpp"
#include "ox_hint.hpp"
#include "ox_memory.hpp"
#include "ox_out_buffer.hpp"
#include "ox_row.hpp"

EditorState editor = {.boundaries = OX_RL_SHELL_BOUNDARIES, .fed = -1};

struct ox_rl_async {};

namespace {

/// What is typed stays where it is; what follows starts a row of its own.
void leave_row(void) {
    if (!editor_is_shown()) return;
    putchar('\n');
    ox_out_push();
    editor.phase = EDITOR_IDLE;
}

/// Whether the terminal itself shows Ctrl-C, as "^C".
bool shows_control_keys(void) {
    struct termios modes;
    return tcgetattr(STDIN_FILENO, &modes) == 0 && (modes.c_lflag & ECHO) && (modes.c_lflag & ECHOCTL);
}

}  // namespace

void ox_rl_set_autocomplete_cb(ox_rl_autocomplete_cb) {}

void ox_rl_set_hint_cb(ox_rl_hint_cb) {}

void ox_rl_set_describe_cb(ox_rl_describe_cb) {}

void ox_rl_set_word_boundaries(const char*) {}

void ox_rl_case_insensitive(int) {}

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
    free(handle);
}

void ox_rl_async_prepare(ox_rl_async*, const char* prompt) {
    if (editor_is_shown()) return;
    editor.phase = screen_has_keyboard() ? EDITOR_SHOWN : EDITOR_PLAIN;
    if (editor.phase == EDITOR_PLAIN) return;
    char start[32] = "";
    if (editor.has_colors) ox_colors_sequence(editor.colors[OX_RL_COLOR_PROMPT], start, sizeof start);
    printf("%s%s%s", start, prompt, *start ? "\033[0m" : "");
    ox_out_push();
    ox_out_row_ended();
}

void ox_rl_async_hide(ox_rl_async*) {
    leave_row();
}

void ox_rl_async_restore(ox_rl_async*) {
    leave_row();
}

void ox_rl_async_to_end(ox_rl_async*) {
    if (editor_is_shown() && shows_control_keys()) fputs("\b\b", stdout);
}

void ox_rl_async_clear(ox_rl_async*) {
    plain_drop();
    editor.phase = EDITOR_IDLE;
}

int ox_rl_getch(void) {
    return bytes_read();
}

bool ox_rl_pending(void) {
    return bytes_kept();
}

char* ox_rl_async_feed(ox_rl_async*, int key, int* status) {
    editor.ctrl_d = false;
    *status = 1;
    if (key == OX_RL_NO_KEY) return nullptr;
    char* line = plain_feed(key, status);
    // Enter has ended the row; Ctrl-D has not.
    if (*status == 0 && key >= 0) editor.phase = EDITOR_IDLE;
    return line;
}

bool ox_rl_follow_terminal(void) {
    return false;
}

bool ox_rl_ctrl_d_is_pressed(void) {
    return editor.ctrl_d;
}

int ox_rl_hung_up(void) {
    return 0;
}

void ox_rl_yield_signals(void (*)(int)) {}

void ox_rl_recover(void) {
    plain_drop();
    ox_rl_echo_on(-1);
    editor.phase = EDITOR_IDLE;
    ox_out_push();
}

void ox_rl_give_up(void) {
    ox_rl_recover();
}

void ox_rl_completion_interrupted(void) {}

void ox_rl_completion_writes(void) {}

void ox_rl_hint_changed(void) {}

void ox_rl_row_unknown(void) {}

void ox_rl_row_leave(void) {}

void ox_rl_end_row(void) {
    if (!screen_has_keyboard()) return;
    putchar('\n');
    ox_out_push();
}

void completion_end_line(void) {}

bool guard_reads_at_once(void) {
    return false;
}

int guard_hung_up(void) {
    return 0;
}

Terminfo terminfo_find(const char*) {
    return {};
}
