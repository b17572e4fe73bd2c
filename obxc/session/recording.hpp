// The recording of shell lines or Lua statements into a file.
#pragma once

#include "obxc.hpp"

extern bool recording;
/// Lines entered since the recording began.
extern unsigned record_lines;

/// The `record` row's handler.
int record_command(const char* name, json_t* args);
/// Writes the record file and ends the recording.
void record_stop(void);
