#include "hint.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "editor.hpp"
#include "ox_hint.hpp"
#include "ox_screen.hpp"
#include "ox_str.hpp"
#include "typed.hpp"
#include "width.hpp"

namespace {

struct Hint {
    ox_str line;    // the line that it belongs to
    char* text;     // whole, as the callback gave it; null for none
    ox_str drawn;   // the part that is on the screen
    size_t column;  // where that starts
    bool stale;     // the callback may give another one by now
} hint;

const size_t no_state = RL_STATE_ISEARCH | RL_STATE_NSEARCH | RL_STATE_VIMOTION | RL_STATE_NUMERICARG |
                        RL_STATE_MULTIKEY | RL_STATE_CHARSEARCH | RL_STATE_DONE | RL_STATE_COMPLETING |
                        // readline runs the next key itself, an Enter too
                        RL_STATE_INPUTPENDING | RL_STATE_MACROINPUT;

/// Whether the line's place on the screen is the sum of its characters' columns.
bool line_has_columns(void) {
    for (int i = 0; i < rl_end; i++) {
        if (static_cast<unsigned char>(rl_line_buffer[i]) < 0x20) return false;
    }
    return true;
}

/// Whether a hint may stand behind the line as readline draws it. On a serial line it would cost more time
/// than it saves.
bool has_place(void) {
    return editor.hint && !ox_out_is_slow() && rl_end > 0 && rl_point == rl_end && !RL_ISSTATE(no_state) &&
           typed_row_is_plain() && line_has_columns();
}

bool is_of_line(void) {
    return ox_str_length(&hint.line) == static_cast<size_t>(rl_end) &&
           memcmp(ox_dynarray_get(&hint.line), rl_line_buffer, rl_end) == 0;
}

void ask(void) {
    free(hint.text);
    hint.text = nullptr;  // hint_forget() may be called out of the callback
    hint.text = editor.hint(rl_line_buffer);
    if (hint.text) hint.text[terminal_cut(hint.text, strlen(hint.text), SIZE_MAX)] = '\0';
    ox_str_clear(&hint.line);
    ox_str_add_n(&hint.line, rl_line_buffer, rl_end);
    hint.stale = false;
}

/// Bytes of the hint that fit on the row; stores the column where it starts.
size_t room(size_t* column) {
    int rows = 0;
    int columns = 0;
    rl_get_screen_size(&rows, &columns);
    if (!hint.text || columns <= 0) return 0;
    const char* prompt = rl_display_prompt ? rl_display_prompt : "";
    TerminalPlace place = terminal_advance({0, 0}, prompt, strlen(prompt), columns);
    place = terminal_advance(place, rl_line_buffer, rl_end, columns);
    *column = place.column;
    // The last column stays free: behind it the cursor's place differs between terminals.
    if (place.column + 1 >= static_cast<size_t>(columns)) return 0;
    return terminal_cut(hint.text, strlen(hint.text), columns - 1 - place.column);
}

void draw(size_t column, size_t size) {
    char colour[EDITOR_COLOR_SIZE];
    editor_color(OX_RL_COLOR_HINT, colour);
    size_t width = terminal_text_width(hint.text, size);
    fprintf(rl_outstream, "%s%.*s%s\033[%zuD", colour, static_cast<int>(size), hint.text,
            *colour ? "\033[0m" : "", width);
    ox_str_clear(&hint.drawn);
    ox_str_add_n(&hint.drawn, hint.text, size);
    hint.column = column;
}

/// Whether what is drawn already is the hint's first `size` bytes once `typed` has been drawn over its start.
bool stays(const char* typed, size_t length, size_t size) {
    return size > 0 && ox_str_length(&hint.drawn) == length + size &&
           memcmp(ox_dynarray_get(&hint.drawn), typed, length) == 0 &&
           memcmp(ox_dynarray_get(&hint.drawn) + length, hint.text, size) == 0;
}

}  // namespace

bool hint_is_drawn(void) {
    return ox_str_length(&hint.drawn) > 0;
}

void hint_erase(void) {
    if (ox_str_length(&hint.drawn) == 0) return;
    fputs("\033[K", rl_outstream);
    ox_str_clear(&hint.drawn);
}

void hint_forget(void) {
    ox_str_clear(&hint.drawn);
    ox_str_clear(&hint.line);
    free(hint.text);
    hint.text = nullptr;
}

void hint_erase_above(void) {
    if (ox_str_length(&hint.drawn) == 0) return;
    fprintf(rl_outstream, "\033[A\r\033[%zuC\033[K\r\n", hint.column + 2);
    ox_str_clear(&hint.drawn);
}

void hint_redisplay(void) {
    if (typed_defer()) return;
    if (!has_place()) {
        hint_erase();
        typed_draw();
        return;
    }
    size_t before = ox_str_length(&hint.line);
    bool longer = before <= static_cast<size_t>(rl_end) &&
                  memcmp(ox_dynarray_get(&hint.line), rl_line_buffer, before) == 0;
    if (hint.stale || !longer || before != static_cast<size_t>(rl_end)) ask();
    size_t column = 0;
    size_t size = room(&column);
    if (longer && stays(rl_line_buffer + before, rl_end - before, size)) {
        if (before != static_cast<size_t>(rl_end)) ox_dynarray_cut(&hint.drawn, 0, rl_end - before);
        typed_draw();
        return;
    }
    hint_erase();
    typed_draw();
    if (size > 0) draw(column, size);
}

void ox_rl_hint_changed(void) {
    hint.stale = true;
    if (editor.phase != EDITOR_SHOWN || !has_place()) return;
    hint_redisplay();
    fflush(rl_outstream);
}

bool hint_accept(void) {
    if (!hint.text || !*hint.text || rl_point != rl_end || !is_of_line()) return false;
    hint_erase();
    rl_insert_text(hint.text);
    return true;
}
