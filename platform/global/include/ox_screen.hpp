// What the terminal can do. Everything else asks here.
#pragma once

#include <stddef.h>

/// What a terminal can do. The order of the bytes is fixed.
struct ox_rl_capabilities {
    unsigned char line_drawing;  ///< box-drawing characters can be shown (the locale is UTF-8)
    unsigned char color;         ///< colours
    unsigned char cursor;        ///< cursor movement and erasing
    unsigned char depth;         ///< 1: 16 colours, 2: 256, 3: 24-bit; 0 without colour
};
/// Capabilities by terminal name; null takes TERM. An unset, empty, unknown or "dumb" terminal has none but
/// perhaps line drawing. Never null; valid until the next call.
const ox_rl_capabilities* ox_rl_get_terminal_capabilities(const char* term);

/// Columns of the terminal on standard output; 80 when it does not tell.
size_t ox_screen_columns(void);
/// Whether standard output is a terminal (asked once, again after ox_out_refresh).
bool ox_out_is_terminal(void);
void ox_out_refresh(void);
/// Whether standard output is a serial line, on which each byte takes its time: a terminal that has one of
/// their speeds (asked once as well). Pseudo-terminals and the system's own screens all have another.
bool ox_out_is_slow(void);
