// Completion and hints of the shell.
#pragma once

#include "complete/quoting.hpp"
#include "model/model_events.hpp"
#include "obxc.hpp"

/// The command table and its lookup, which stand in a room above.
void complete_set_commands(const ShellCommand* rows, size_t count,
                           const ShellCommand* (*lookup)(const char* word));
/// The line editor's completion callback. Waits for the daemon as long as it takes; Ctrl-C abandons it
/// without candidates, and the line, the cache and the connection stay as they are. Nothing is offered, nor
/// hinted, at the question of a command that runs.
void complete_line(const char* line, int cursor, json_t* candidates);
/// The line editor's hint callback: what completion would add to the line, a heap text, when there is exactly
/// one candidate; else null. It runs at each key, so it waits for the daemon 150 ms in all at most; what did
/// not come in time is left to the next completion.
char* hint_line(const char* line);

/// Completes a data-model path or, after "=", a value; `flags` of NodeCandidates. What needs quotes on a line
/// is offered with them, as it goes on from `line`, the text left of the cursor (null: the word itself).
void path_complete(const char* word, json_t* candidates, int flags, const char* line = nullptr);
void method_args_complete(const char* method_word, const char* word, json_t* candidates,
                          const char* line = nullptr);
/// File names for word `index`; `files` 0: command names along PATH for the first word. Names with blanks,
/// quotes and the like are offered as they must be typed behind `typed` (null: the word itself, no quote
/// open): what is typed stays, blanks open a double quote, a file's last character closes it. Names with
/// control characters and names that are not UTF-8 cannot be typed and are left out.
void file_complete(int index, json_t* words, json_t* candidates, int files, const TypedWord* typed = nullptr);
/// The enumeration of Device.DeviceInfo.DeviceMode, borrowed, or null.
json_t* device_modes(void);

/// Candidates after which the search ends, for who only asks whether there is exactly one; 0: no limit.
extern size_t candidate_limit;
/// True when as many candidates are there as are wanted.
bool candidates_full(const json_t* candidates);
/// Whether the first word of a line is whole and no command, so that nothing completes it: told without
/// splitting the line.
bool names_no_command(const char* line);
/// Sorts them (`order` of ox_sort_order), unless they are only counted.
void candidates_sort(json_t* candidates, int order);
/// Appends the candidates for the text left of the cursor.
void candidates_collect(const char* line, int cursor, json_t* candidates);
