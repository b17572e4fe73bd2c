// The line editor, fed key by key. No public header of this library shows that GNU readline does the work.
#pragma once

#include <jansson.h>

#include "ox_colors.hpp"

/// Completion: appends candidate strings to `candidates`. `cursor` is a byte offset into `line`.
using ox_rl_autocomplete_cb = void (*)(const char* line, int cursor, json_t* candidates);
/// Hint: a heap text to show behind the cursor, or null.
using ox_rl_hint_cb = char* (*)(const char* line);

void ox_rl_set_autocomplete_cb(ox_rl_autocomplete_cb callback);
void ox_rl_set_hint_cb(ox_rl_hint_cb callback);
/// Behind which characters a word may start in the shell.
inline constexpr const char* OX_RL_SHELL_BOUNDARIES = " \t/.=:\"'";
/// The characters behind which a word that a candidate replaces may start, besides the start of the line
/// (null: the shell's). Copied.
void ox_rl_set_word_boundaries(const char* characters);
void ox_rl_case_insensitive(int on);

enum ox_rl_color { OX_RL_COLOR_PROMPT, OX_RL_COLOR_HINT, OX_RL_COLOR_AUTOCOMPLETE, OX_RL_COLOR_COUNT };
/// Colours of the editor in the order prompt, hint, autocomplete. Copied.
void ox_rl_set_colors(const ox_hsv colors[OX_RL_COLOR_COUNT]);

/// The asynchronous editor. One at a time.
struct ox_rl_async;
ox_rl_async* ox_rl_async_new(void);
void ox_rl_async_free(ox_rl_async* editor);
/// Key-by-key mode on; draws the prompt and the line so far. The prompt is copied. A new prompt stands behind
/// what the program itself wrote without a newline, and starts a row of its own behind what others wrote
/// (ox_rl_row_unknown), where the terminal can do that.
void ox_rl_async_prepare(ox_rl_async* editor, const char* prompt);
/// Gives the terminal back to line mode; the drawn line is wiped so that output starts in column 0, and its
/// text is kept for the next prepare. After a finished line there is nothing to wipe.
void ox_rl_async_restore(ox_rl_async* editor);
/// Wipes the drawn line so that output starts in column 0, and stays in key-by-key mode: what is typed
/// meanwhile is not shown by the terminal itself. The next prepare draws the line again below the output.
void ox_rl_async_hide(ox_rl_async* editor);
/// Moves the cursor behind the line that is being edited, so that what the caller writes to end its row ("^C"
/// and a newline) covers nothing of it.
void ox_rl_async_to_end(ox_rl_async* editor);
/// Discards the line being edited, what is left of a paste included. The caller has ended the row that it was
/// drawn on ("^C" and a newline).
void ox_rl_async_clear(ox_rl_async* editor);
/// Nothing was typed: Ctrl-C has emptied what the terminal held.
inline constexpr int OX_RL_NO_KEY = -2;
/// One byte from standard input, -1 at its end, OX_RL_NO_KEY where key-by-key mode has none. Bytes are read
/// one by one: what follows a finished line is left to the command that it starts. Only a bracketed paste is
/// read to its end at once. At the end of a pipe poll reports POLLHUP without POLLIN.
int ox_rl_getch(void);
/// True when ox_rl_getch has something at once although the descriptor is not readable: bytes that were read
/// ahead, or the end, because the terminal hung up (SIGHUP).
bool ox_rl_pending(void);
/// Feeds one byte, and those that wait behind it, up to the line's end. `status` becomes 1 while the line is
/// being edited, 0 once it is complete or abandoned. Returns the complete line (heap, the caller frees it),
/// else null; a line of several pasted rows is returned row by row, and is pending until then. -1 is the
/// input's end: a last line without its newline is returned, and the next -1 ends the input.
char* ox_rl_async_feed(ox_rl_async* editor, int key, int* status);
/// To be called when a wait for a key ends with EINTR: where the terminal was the reason (it has a new size,
/// or the program goes on after a stop) the line is drawn anew. False where it was not: then it was Ctrl-C.
bool ox_rl_follow_terminal(void);
/// Whether the last key was Ctrl-D on an empty line, or the input ended.
bool ox_rl_ctrl_d_is_pressed(void);
/// The signal that ended the input: SIGHUP of a terminal that was hung up, or SIGTERM. 0: neither.
int ox_rl_hung_up(void);

/// A signal that `handler` takes is the editor's own while it reads keys. Null: none.
void ox_rl_yield_signals(void (*handler)(int));

/// Puts the terminal back into line mode with echo, whatever was interrupted. For the way back from a jump;
/// the row is left as it is.
void ox_rl_recover(void);
/// The program ends, perhaps because the editor's library found no memory in the middle of something: the
/// terminal gets its modes back, and nothing of what the library had begun is looked at.
void ox_rl_give_up(void);
