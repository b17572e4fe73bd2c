#include "model/value_format.hpp"

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_screen.hpp"
#include "ox_tr.hpp"

namespace {

/// The digits start at the position of the lowest set bit, counted from 1, so the bits above it are lost:
/// the notation is made for flags with one bit set.
void write_binary(uint64_t number) {
    fputs("0b", stdout);
    for (int bit = ffsll(static_cast<long long>(number)); bit >= 0; bit--) {
        bool set = bit < 64 && (number >> bit) & 1;
        fputc(set ? '1' : '0', stdout);
    }
}

void write_integer(json_int_t number, int base) {
    switch (base) {
        case 2:
            write_binary(static_cast<uint64_t>(number));
            return;
        case 8:
            printf("0%llo", static_cast<unsigned long long>(number));
            return;
        case 16:
            printf("0x%llx", static_cast<unsigned long long>(number));
            return;
        default:
            printf("%lld", static_cast<long long>(number));
    }
}

}  // namespace

void value_format_string(const char* bytes, size_t size) {
    fputc('\'', stdout);
    ox_out_text(bytes, static_cast<long>(size));
    fputc('\'', stdout);
}

void value_format_integer(json_int_t number, const json_t* schema_node) {
    write_integer(number, ox_tr_dm_node_get_base(schema_node));
}

void value_format_encoded(const char* text, size_t size) {
    // On a terminal control characters are escaped.
    if (ox_out_is_terminal()) {
        ox_out_text(text, static_cast<long>(size));
    } else {
        fwrite(text, 1, size, stdout);
    }
}

void value_format(const json_t* value, const json_t* schema_node) {
    if (!value) return;
    switch (json_typeof(value)) {
        case JSON_OBJECT:
            return;
        case JSON_STRING:
            value_format_string(json_string_value(value), json_string_length(value));
            return;
        case JSON_INTEGER:
            value_format_integer(json_integer_value(value), schema_node);
            return;
        case JSON_TRUE:
            fputs("true", stdout);
            return;
        case JSON_FALSE:
            fputs("false", stdout);
            return;
        case JSON_ARRAY:
        case JSON_REAL:
        case JSON_NULL:
            CharsRef text(json_dumps(value, JSON_ENCODE_ANY));
            if (text) value_format_encoded(text, strlen(text));
            return;
    }
}
