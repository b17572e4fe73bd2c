// The Tab key: asks for candidates, puts them into the line or lists them below it, by pages.
#pragma once

#include "ox_completion.hpp"

/// The Tab key, and its like that only lists.
int completion_key(int count, int key);
int completion_list_key(int count, int key);
/// menu-complete: each key takes the next candidate, or the one before.
int completion_menu_key(int count, int key);
int completion_menu_back_key(int count, int key);
/// The answer to the question whether a long list, or more of it, is shown. False for a key that is a key of
/// the line, which means no.
bool completion_answer(int key);
/// Withdraws the question: no answer will come.
void completion_forget(void);
/// Around a callback that may wait for the daemon: a note of the wait stands below the line, and a Ctrl-C
/// leaves the wait alone, so the keys typed meanwhile stay.
void completion_may_wait(bool on);
/// Where the cursor's row starts in a line of several pasted rows.
int completion_row_begin(void);
/// While candidates are asked for: puts the cursor behind the line.
void completion_end_line(void);
