#include "commands/print.hpp"

#include <stdio.h>

#include "model/value_format.hpp"
#include "ox_colors.hpp"
#include "ox_out.hpp"
#include "session/prompt.hpp"

namespace {

void print_blanks(size_t count) {
    static const char blanks[] = "                                                                ";
    constexpr size_t piece = sizeof blanks - 1;
    for (; count > piece; count -= piece) fwrite(blanks, 1, piece, stdout);
    fwrite(blanks, 1, count, stdout);
}

}  // namespace

void print_padded(const char* text, size_t length, size_t width) {
    ox_out_text(text, static_cast<long>(length));
    size_t size = ox_out_size(text, static_cast<long>(length));
    if (size < width) print_blanks(width - size);
}

void print_text(const char* text) {
    if (text) ox_out_text(text);
}

void print_value(const json_t* value, const json_t* schema_node) {
    fwrite(" = ", 1, 3, stdout);
    ox_colors_set_hsv2(colour_scheme[COLOUR_AUTOCOMPLETE]);
    value_format(value, schema_node);
    ox_colors_reset();
}
