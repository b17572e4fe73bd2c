// Colours of what is written to standard output.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// A colour: hue 0-360, saturation and value 0-100 (anything beyond is brought into range when it is used).
struct ox_hsv {
    uint16_t hue;
    uint8_t saturation;
    uint8_t value;
};

enum ox_colors_kind { OX_COLOR_ERROR = 1, OX_COLOR_SUCCESS = 2, OX_COLOR_NUMBER = 3 };

/// Switches all colour output; off at start. NO_COLOR in the environment keeps it off.
void ox_colors_toggle(int on);
bool ox_colors_enabled(void);
/// Starts a colour on standard output (no-ops while colours are off).
void ox_colors_set(int kind);
void ox_colors_set_hsv2(ox_hsv colour);
void ox_colors_reset(void);
/// The escape sequence that ox_colors_set_hsv2 would write ("" while colours are off): 24-bit, 256 or 16
/// colours as the terminal has. Returns its length.
size_t ox_colors_sequence(ox_hsv colour, char* out, size_t size);
