// Completion and hints of shell lines: from the line to the row of its command, and to what the row offers.
#pragma once

#include <jansson.h>

/// The line editor's completion callback. Waits for the daemon as long as it takes; Ctrl-C abandons it
/// without candidates, and the line, the cache and the connection stay as they are. Nothing is offered, nor
/// hinted, at the question of a command that runs.
void complete_line(const char* line, int cursor, json_t* candidates);
/// The line editor's hint callback: what completion would add to the line, a heap text, when there is exactly
/// one candidate; else null. It runs at each key, so it waits for the daemon 150 ms in all at most; what did
/// not come in time is left to the next completion.
char* hint_line(const char* line);
