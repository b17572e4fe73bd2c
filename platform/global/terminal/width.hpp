// Display widths of texts on the terminal.
#pragma once

#include <stddef.h>

/// Length in bytes of the valid UTF-8 sequence at `text` (1 for ASCII), 0 when there is none within `size`.
size_t terminal_utf8_length(const char* text, size_t size);
/// Columns of the character at `text`, which takes `*length` bytes: 0 for combining characters, 2 for wide
/// ones, -1 for control characters. A byte that belongs to no character counts one column.
int terminal_char_width(const char* text, size_t size, size_t* length);
/// Columns of a text; control characters count as nothing.
size_t terminal_text_width(const char* text, size_t size);
/// Bytes of the longest start of a text that fits into `columns` and holds no control character.
size_t terminal_cut(const char* text, size_t size, size_t columns);

/// A place on the screen, in columns and rows from the start of what is drawn.
struct TerminalPlace {
    size_t column;
    size_t row;
};
/// Where the cursor stands after `text` was drawn from `place` on a screen of `columns`: a wide character
/// that does not fit goes to the next row, and so does the cursor behind the last column. Text between \001
/// and \002 takes no room; control characters are drawn as two characters (^X), as the line editor does.
TerminalPlace terminal_advance(TerminalPlace place, const char* text, size_t size, size_t columns);
