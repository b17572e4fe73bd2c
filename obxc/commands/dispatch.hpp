// From a word to the command that it names.
#pragma once

#include "commands/table.hpp"

/// The row of a command word or method name, "?" standing for "help"; null when there is none that the shell
/// can run.
const ShellCommand* command_lookup(const char* word);
/// The row whose name or method is `word`, whatever handlers it has, or null.
const ShellCommand* command_find(const char* word);

/// Runs a shell command: the row's handler gets the row's own name. Returns its result, or -1 when the
/// command is not found.
int command_dispatch(const char* word, json_t* args);
/// Runs a command of request mode or of a script: the handler gets the word as typed. -1 for an unknown
/// method.
int request_dispatch(const char* word, json_t* args);
