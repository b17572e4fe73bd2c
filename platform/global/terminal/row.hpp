// The row that the editor's prompt stands on.
#pragma once

#include "ox_row.hpp"

/// Takes the text of the row that standard output has left open, before anything more is written.
void row_take(void);
/// Decides where a new prompt stands, in key mode, before it is drawn.
void row_start(void);
/// What stands in front of the prompt, on its row.
const char* row_text(void);
/// The drawn prompt was wiped, and what stood in front of it with it: writes that again, on a row of its own.
void row_end(void);
/// The drawn prompt stays above.
void row_forget(void);
