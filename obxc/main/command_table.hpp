// The command table: one row for each shell command.
#pragma once

#include "obxc.hpp"

enum { COMMAND_COUNT = 37 };

/// In an order that matters: a lookup takes the first row that matches by name or by method.
extern ShellCommand command_table[COMMAND_COUNT];

/// Fills in the hashes; the first lookup does it.
void command_table_init(void);
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

/// The `help` row's handler.
int help_command(const char* name, json_t* args);
