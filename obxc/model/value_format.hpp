// The one formatter of typed values.
#pragma once

#include <jansson.h>

/// Writes one JSON value to standard output in the parameter's own notation: strings in single quotes,
/// integers in the number base of `schema_node` (may be null). Absent values and objects write nothing.
void value_format(const json_t* value, const json_t* schema_node);
/// The same for the parts of an answer that never became JSON values: the bytes of a string, an integer, the
/// JSON text of any other value.
void value_format_string(const char* bytes, size_t size);
void value_format_integer(json_int_t number, const json_t* schema_node);
void value_format_encoded(const char* text, size_t size);
