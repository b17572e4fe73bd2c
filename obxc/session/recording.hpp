// The recording of shell lines or Lua statements into a file.
#pragma once

extern bool recording;
/// Lines entered since the recording began.
extern unsigned record_lines;

/// Begins a recording into a file ("~" stands for a home). 0, or -1 after saying why not; `name` is the
/// command that says it.
int record_start(const char* name, const char* path);
/// Ends the recording and writes nothing. 0, or -1 after saying that there is none.
int record_abort(const char* name);
/// Writes the record file and ends the recording.
void record_stop(void);
