// Plain typing at the line's end: the character alone is written. readline's own drawing goes through the
// whole line, most of what a key press would cost. readline does not know of these characters then, so the
// cursor is put back to where it was before readline draws again; it writes them itself that time.
#pragma once

/// Draws the line as it is now (readline's redisplay, or less where less does).
void typed_draw(void);
/// Whether a key does nothing but insert itself.
bool typed_key_inserts(int key);
/// While on, what readline would draw is only noted.
void typed_hold(bool on);
/// For the redisplay function: true while what it would draw is held, and that is then noted.
bool typed_defer(void);
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
