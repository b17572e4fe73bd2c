// The row on which the next prompt will stand.
#pragma once

/// Another program writes to the terminal: nobody knows where it leaves the cursor.
void ox_rl_row_unknown(void);
/// What was written last is somebody else's (a Lua statement's): a row that it has left open is not
/// continued.
void ox_rl_row_leave(void);
/// Ends the row on which the terminal has shown a Ctrl-C, so that the next prompt starts in column 0. Nothing
/// where input or output is no terminal.
void ox_rl_end_row(void);
