// What the files of the line editor share. GNU readline has one line at a time, so there is one state.
#pragma once

#include <stddef.h>
#include <stdio.h>

#include "ox_rl.hpp"
#include "ox_str.hpp"

struct EditorState {
    ox_rl_autocomplete_cb complete;
    ox_rl_hint_cb hint;
    const char* boundaries;
    bool case_sensitive;
    ox_hsv colors[OX_RL_COLOR_COUNT];
    bool has_colors;

    bool plain;      // lines come as they are: no terminal on one of the two sides
    bool active;     // a line is being edited by readline
    bool keyed;      // the terminal gives single keys
    bool shown;      // the line is drawn
    bool asking;     // the next key answers whether a long list, or more of it, is shown
    bool bracketed;  // the terminal marks pasted text
    bool finished;   // the line handler was called
    bool ctrl_d;
    char* line;  // what it was given
    int fed;     // the key that readline has not taken yet, -1 when it has
};
extern EditorState editor;

/// The bounds of the wait for the rest of a key's bytes, where readline reads on by itself.
inline constexpr int EDITOR_KEY_REST_MS = 1000;

/// Takes the text of the row that standard output has left open, before anything more is written.
void row_take(void);
/// Decides where a new prompt stands, in key mode, before it is drawn.
void row_start(void);
/// What stands in front of the prompt, on its row.
const char* row_text(void);
/// The drawn prompt was wiped, and what stood in front of it with it: writes that again, on a row of its own.
void row_end(void);
/// The drawn prompt stays above.
void row_forget(void);

/// Draws the line as readline does, and the hint behind it (readline's redisplay function).
void hint_redisplay(void);
/// Whether a hint is on the screen, the cursor where it starts. Safe in a signal handler.
bool hint_is_drawn(void);
/// Wipes the hint that is drawn; the cursor must be where it starts.
void hint_erase(void);
/// Forgets the hint; what is drawn of it is no longer ours.
void hint_forget(void);
/// After the caller ended the row behind a drawn hint with "^C": wipes what is left of it.
void hint_erase_above(void);
/// Takes the hint of the line into it: false when there is none or the cursor is not at the end.
bool hint_accept(void);

/// The next byte of standard input; OX_RL_NO_KEY where a terminal in key mode has none.
int bytes_read(void);
/// The next byte of a terminal in key mode, OX_RL_NO_KEY where there is none or where a Ctrl-C is to be taken
/// first.
int bytes_at_hand(void);
/// Whether one waits that was read already.
bool bytes_kept(void);
/// Bytes that can be read without waiting where standard input is no terminal.
int bytes_in_pipe(void);

/// Draws the line as it is now (readline's redisplay, or less where less does).
void typed_draw(void);
/// Whether a key does nothing but insert itself.
bool typed_key_inserts(int key);
/// While on, what readline would draw is only noted.
void typed_hold(bool on);
/// For the redisplay function: whether the line is not to be drawn now; noted.
bool typed_held(void);
/// Whether something was noted and not drawn yet.
bool typed_is_behind(void);
/// Draws what was noted, without a hint.
void typed_catch_up(void);
/// To be told before each key (-1: something else than a key) that readline takes, or that draws.
void typed_key(int key);
/// Whether there is more to read, as readline asks within a key. Never behind a key that inserts itself: it
/// is drawn, and a Ctrl-C behind it taken, before the next one is read.
int typed_input_waits(void);
/// What is drawn was wiped, ended, or is drawn anew.
void typed_forget(void);
/// Whether nothing but prompt and line stands on the row.
bool typed_row_is_plain(void);
/// Reads the user's inputrc again.
int typed_inputrc_key(int count, int key);

/// The Tab key, and its like that only lists.
int completion_key(int count, int key);
int completion_list_key(int count, int key);
/// menu-complete: each key takes the next candidate, or the one before.
int completion_menu_key(int count, int key);
int completion_menu_back_key(int count, int key);
/// The answer to the question whether a long list, or more of it, is shown. False for a key that is a key of
/// the line, which means no.
bool completion_answer(int key);
void completion_forget(void);
/// While candidates are asked for: puts the cursor behind the line.
void completion_end_line(void);

/// Takes a bracketed paste into the edited line, as text of several rows perhaps.
int paste_key(int count, int key);
/// What the edited line had of pasted rows is gone.
void paste_forget(void);
/// To be told of a finished line: cuts it behind its first pasted row; those that follow wait.
void paste_queue_lines(char* line);
bool paste_waiting(void);
/// The next byte of what waits.
int paste_getch(void);
/// The next byte comes from elsewhere.
void paste_typed(void);
/// Whether the byte last read came from a paste; asking takes it back.
bool paste_take_back(void);
/// Inserts the row that waits into the edited line.
void paste_insert_line(void);
void paste_drop(void);

/// Lines from what is no terminal.
char* plain_feed(int key, int* status);
void plain_drop(void);

/// Watches for signals while single keys are read: the terminal's size, stop and continue, end.
/// `guard_before` is called before key mode is set, `guard_on` after it.
void guard_before(void);
void guard_on(void);
void guard_off(void);
/// Whether the terminal showed what is typed before it gave single keys: readline shows it only then.
bool guard_echoes(void);
/// What happened since the last call.
bool guard_take_resize(void);
bool guard_take_resume(void);
/// Whether a read of the terminal gives what is there, and does not wait.
bool guard_reads_at_once(void);
/// Whether the terminal went away.
bool guard_hung_up(void);

/// Draws the line anew on an empty row.
void editor_redraw(void);
/// Where readline reads the bytes of its keys.
int editor_next_key(FILE* unused);
/// Sets readline up, once.
void editor_initialize(void);
/// Lets readline edit a line, which it gives to `take_line` (null: the end of the input). Draws the prompt.
void editor_install(const char* prompt, void (*take_line)(char* line));
