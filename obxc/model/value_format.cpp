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

/// Writes an encoded value; on a terminal through the escaping of control characters.
void write_encoded(const json_t* value, size_t flags) {
    if (!ox_out_is_terminal()) {
        json_dumpf(value, stdout, flags);
        return;
    }
    CharsRef text(json_dumps(value, flags));
    if (text) ox_out_text(text);
}

void write_string(const json_t* value) {
    fputc('\'', stdout);
    ox_out_text(json_string_value(value), static_cast<long>(json_string_length(value)));
    fputc('\'', stdout);
}

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

void value_format(const json_t* value, const json_t* schema_node) {
    if (!value) return;
    switch (json_typeof(value)) {
        case JSON_OBJECT:
            return;
        case JSON_ARRAY:
            write_encoded(value, 0);
            return;
        case JSON_STRING:
            write_string(value);
            return;
        case JSON_INTEGER:
            write_integer(json_integer_value(value), ox_tr_dm_node_get_base(schema_node));
            return;
        case JSON_TRUE:
            fputs("true", stdout);
            return;
        case JSON_FALSE:
            fputs("false", stdout);
            return;
        case JSON_REAL:
        case JSON_NULL:
            write_encoded(value, JSON_ENCODE_ANY);
            return;
    }
}
