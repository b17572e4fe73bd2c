// Bracketed paste: the terminal marks pasted text, so that it is taken as text, not as keys. Its rows stand
// in the edited line until Enter; then they are run one by one, and those that wait are kept here, for the
// terminal's own queue is the commands' to read.
#pragma once

/// Takes a bracketed paste into the edited line, as text of several rows perhaps.
int paste_key(int count, int key);
/// Forgets which rows of the edited line were pasted: the line was finished or dropped.
void paste_forget(void);
/// To be told of a finished line: cuts it behind its first pasted row; those that follow wait.
void paste_queue_lines(char* line);
bool paste_waiting(void);
/// The next byte of what waits.
int paste_getch(void);
/// To be told that the next byte does not come from a paste.
void paste_typed(void);
/// Takes the byte that was read last back, where it came from a paste; false where it did not.
bool paste_take_back(void);
/// Inserts the row that waits into the edited line.
void paste_insert_line(void);
void paste_drop(void);
