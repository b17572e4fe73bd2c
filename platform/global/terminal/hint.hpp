// The hint behind the edited line: drawn by readline's redisplay hook, never part of the line.
#pragma once

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
