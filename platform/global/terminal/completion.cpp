#include "completion.hpp"

#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include "columns.hpp"
#include "completion_edit.hpp"
#include "editor.hpp"
#include "hint.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "screen.hpp"

namespace {

/// What is listed below the line, as far as it goes on: behind a question, or behind a full screen.
struct Listing {
    json_t* asked;  // the candidates that the question is about; null when none is asked
    ColumnList list;
    size_t next;  // the first row that is not shown yet
};
Listing listing;

/// The callback that gives the candidates.
struct Callback {
    bool runs;
    bool wrote;  // below the line
} callback;

/// Puts the cursor behind the line.
void end_line(void) {
    int point = rl_point;
    hint_erase();
    rl_point = rl_end;
    rl_redisplay();
    rl_point = point;
    hint_erase();
}

/// Puts the cursor on an empty row below the line.
void leave_line(void) {
    end_line();
    fputs("\r\n", stdout);
}

bool is_on(const char* variable) {
    const char* value = rl_variable_value(variable);
    return value && strcmp(value, "on") == 0;
}

/// Shows the next rows, and the line again below the last; where more follow than a page holds, asks for
/// them.
void list_rows(size_t count) {
    char colour[EDITOR_COLOR_SIZE];
    editor_color(OX_RL_COLOR_AUTOCOMPLETE, colour);
    columns_print(listing.list, listing.next, count, colour);
    listing.next += count;
    if (listing.next < listing.list.layout.rows) {
        editor.phase = EDITOR_ASKING;
        fputs("--More--", stdout);
        return;
    }
    completion_forget();
    editor_redraw();
}

/// Rows of a page: one of the screen is left to the question for more.
size_t page_rows(void) {
    int rows = 0;
    int columns = 0;
    rl_get_screen_size(&rows, &columns);
    return rows > 2 ? rows - 1 : 1;
}

void list_below(const json_t* candidates) {
    listing.list = columns_list(candidates, ox_screen_columns());
    list_rows(is_on("page-completions") ? page_rows() : listing.list.layout.rows);
}

void show_candidates(json_t* candidates) {
    leave_line();
    completion_forget();
    auto count = static_cast<int>(json_array_size(candidates));
    if (rl_completion_query_items <= 0 || count < rl_completion_query_items) {
        list_below(candidates);
        return;
    }
    printf("Display all %d possibilities? (y or n)", count);
    editor.phase = EDITOR_ASKING;
    listing.asked = json_incref(candidates);
}

bool is_yes(int key) {
    return key == 'y' || key == 'Y' || key == ' ' || key == '\t';
}

bool is_no(int key) {
    static const char no[] = "nN\x7f\x07\x04";
    return memchr(no, key, sizeof no - 1);
}

/// The answer to "--More--": the next page, the next row, or nothing more.
void answer_more(int key) {
    bool row = key == '\r' || key == '\n';
    bool stop = is_no(key) || key == 'q' || key == 'Q';
    if (!row && !stop && !is_yes(key)) {
        rl_ding();
        return;
    }
    fputs("\r\033[K", stdout);
    if (!stop) {
        list_rows(row ? 1 : page_rows());
        return;
    }
    completion_forget();
    editor_redraw();
}

/// The answer to the question before a long list; any other key means no, and goes to the line.
bool answer_question(int key) {
    bool yes = is_yes(key);
    JsonRef candidates(json_incref(listing.asked));
    completion_forget();
    fputs("\r\n", stdout);
    if (yes) {
        list_below(candidates);
    } else {
        editor_redraw();
    }
    return yes || is_no(key) || key == '\r' || key == '\n';
}

/// Whether a Ctrl-C makes the terminal drop the keys that nobody has read yet.
void set_flush(bool flush) {
    struct termios modes;
    if (tcgetattr(STDIN_FILENO, &modes) != 0) return;
    modes.c_lflag = flush ? modes.c_lflag & ~NOFLSH : modes.c_lflag | NOFLSH;
    tcsetattr(STDIN_FILENO, TCSANOW, &modes);
}

json_t* ask_candidates(void) {
    json_t* candidates = json_array();
    int begin = completion_row_begin();
    completion_may_wait(true);
    if (editor.complete) editor.complete(rl_line_buffer + begin, rl_point - begin, candidates);
    completion_may_wait(false);
    return candidates;
}

void replace_word(const json_t* candidates, bool* changes) {
    int begin = completion_row_begin();
    CompletionRules rules = {editor.boundaries, editor.case_sensitive};
    CompletionEdit edit = completion_edit(rl_line_buffer + begin, rl_point - begin, candidates, rules);
    CharsRef text(edit.text);
    *changes = edit.changes;
    if (!edit.changes) return;
    int start = begin + static_cast<int>(edit.start);
    rl_begin_undo_group();
    rl_delete_text(start, rl_point);
    rl_point = start;
    rl_insert_text(text);
    rl_end_undo_group();
}

/// What menu-complete goes through: the candidates, and behind the last what was typed.
struct Menu {
    json_t* candidates;
    size_t at;
    char* typed;  // the row up to the cursor
};
Menu menu;

void begin_menu(void) {
    json_decref(menu.candidates);
    free(menu.typed);
    menu.candidates = ask_candidates();
    menu.at = json_array_size(menu.candidates);
    menu.typed = ox_memory_text_n(rl_line_buffer + completion_row_begin(), rl_point - completion_row_begin());
}

int step_menu(size_t places) {
    bool goes_on = rl_last_func == completion_menu_key || rl_last_func == completion_menu_back_key;
    if (!goes_on) begin_menu();
    size_t count = json_array_size(menu.candidates);
    if (count == 0 || !menu.typed) return rl_ding();
    menu.at = (menu.at + count + 1 + places) % (count + 1);
    rl_begin_undo_group();
    int begin = completion_row_begin();
    rl_delete_text(begin, rl_point);
    rl_point = begin;
    rl_insert_text(menu.typed);
    JsonRef one(json_array());
    if (menu.at < count) json_array_append(one, json_array_get(menu.candidates, menu.at));
    bool changes = false;
    replace_word(one, &changes);
    rl_end_undo_group();
    return menu.at < count ? 0 : rl_ding();
}

}  // namespace

void completion_may_wait(bool on) {
    if (on) callback.wrote = false;
    callback.runs = on;
    set_flush(!on);
    if (!on && callback.wrote) editor_redraw();
}

int completion_row_begin(void) {
    int begin = rl_point;
    while (begin > 0 && rl_line_buffer[begin - 1] != '\n') begin--;
    return begin;
}

void completion_end_line(void) {
    if (callback.runs && editor_is_shown() && !callback.wrote) end_line();
}

void ox_rl_completion_interrupted(void) {
    ox_rl_completion_writes();
    fputs("^C\r\n", stdout);
}

void ox_rl_completion_writes(void) {
    if (!editor_is_shown() || callback.wrote) return;
    end_line();
    callback.wrote = true;
}

int completion_key(int, int) {
    JsonRef candidates(ask_candidates());
    if (json_array_size(candidates) == 0) return rl_ding();
    bool changes = false;
    replace_word(candidates, &changes);
    bool lists = !changes || is_on("show-all-if-ambiguous");
    if (lists && json_array_size(candidates) > 1) show_candidates(candidates);
    return 0;
}

int completion_menu_key(int, int) {
    return step_menu(1);
}

int completion_menu_back_key(int, int) {
    return step_menu(SIZE_MAX);  // one back
}

int completion_list_key(int, int) {
    JsonRef candidates(ask_candidates());
    if (json_array_size(candidates) == 0) return rl_ding();
    show_candidates(candidates);
    return 0;
}

bool completion_answer(int key) {
    if (listing.asked) return answer_question(key);
    answer_more(key);
    return true;
}

void completion_forget(void) {
    json_decref(listing.asked);
    columns_free(&listing.list);
    listing = {};
    if (editor.phase == EDITOR_ASKING) editor.phase = EDITOR_SHOWN;
}
