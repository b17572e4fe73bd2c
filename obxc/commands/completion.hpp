// Completion and hints of shell lines: from the line to the row of its command, and to what the row offers.
#pragma once

#include <jansson.h>

/// The line editor's completion callback. Waits for the daemon as long as it takes; Ctrl-C abandons it
/// without candidates, and the line, the cache and the connection stay as they are. Nothing is offered, nor
/// hinted, at the question of a command that runs.
void complete_line(const char* line, int cursor, json_t* candidates);
/// Adds the candidates for the end of the line, at most two: whoever asks wants to know whether there is
/// exactly one. What the cache lacks is asked for.
void complete_for_hint(const char* line, json_t* candidates);
/// The line editor's hint callback: what completion would add to the line, a heap text, when there is exactly
/// one candidate; else null. It runs at each key and never waits: what it lacks is asked for, and the hint is
/// there when it is called again behind the answer.
char* hint_line(const char* line);
/// Takes in what hints have asked for, as far as it has come, and lets the editor ask for the hint again. To
/// be called whenever the shell waits for keys and something may have come from the daemon. True when it has
/// more to do at once: a key that came meanwhile goes first.
bool hint_continue(void);
