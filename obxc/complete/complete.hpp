// Completion and hints of the shell.
#pragma once

#include "obxc.hpp"

/// The command table and its lookup, which stand in a room above.
void complete_set_commands(const ShellCommand* rows, size_t count,
                           const ShellCommand* (*lookup)(const char* word));
/// Data-model changes that wait to be folded into the cache: an array of {"Action","Path","InstanceNumber"},
/// owned, or null. The shell loop appends, completion takes it over.
extern json_t* pending_model_events;

/// The line editor's callbacks.
void complete_line(const char* line, int cursor, json_t* candidates);
char* hint_line(const char* line);

/// Completes a data-model path or, after "=", a value; `flags` of NodeCandidates.
void path_complete(const char* word, json_t* candidates, int flags);
void method_args_complete(const char* method_word, const char* word, json_t* candidates);
/// File names for word `index`; `files` 0: command names along PATH for the first word.
void file_complete(int index, json_t* words, json_t* candidates, int files);
/// The enumeration of Device.DeviceInfo.DeviceMode, borrowed, or null.
json_t* device_modes(void);
