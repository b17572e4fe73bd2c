// What the word under the cursor is: a command's syntax, a node's page, a method's arguments.
#pragma once

#include <stddef.h>

/// The line editor's describe callback. Waits for the daemon; Ctrl-C abandons it. Null where nothing is known
/// of the word, and at the question of a command that runs.
char* describe_line(const char* line, int cursor, size_t columns);
