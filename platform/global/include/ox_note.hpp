// A note that passes: shown while the program waits, and wiped without a trace.
#pragma once

/// Shows a passing note on the row below the cursor, which keeps its place; null wipes it. Nothing where
/// standard output is no terminal that can do that. Returns whether a note had been shown.
bool ox_rl_note(const char* text);
