// Standard output's buffer, and whether what was written ended its row.
#pragma once

#include <stddef.h>

/// Gives standard output one large buffer. Once, before anything is written.
void ox_out_open(void);
/// Flushes standard output where it holds text, and remembers how that ended: to be used where code that may
/// leave a row open (a command, Lua) goes on to wait or ends.
void ox_out_flush(void);
/// fflush(stdout), which keeps the reason of the first failure for the end.
void ox_out_push(void);
/// A write to standard output may have failed just now, errno tells why.
void ox_out_note_failure(void);
/// errno of the first write that failed, 0 where none did: the stream itself knows only that one has.
int ox_out_failure(void);
/// Whether what was written last has not ended its row.
bool ox_out_row_is_open(void);
/// The text of the open row, as far as it was not flushed yet; `size` may be 0.
const char* ox_out_open_row(size_t* size);
/// Text that ends with this byte goes to standard error, in front of what standard output's buffer holds: the
/// row is as that leaves it, where standard error is a terminal.
void ox_out_note_error(char last_byte);
/// The row has ended, by what others wrote.
void ox_out_row_ended(void);
