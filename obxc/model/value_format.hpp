// The one formatter of typed values.
#pragma once

#include <jansson.h>

/// Writes one JSON value to standard output in the parameter's own notation: strings in single quotes,
/// integers in the number base of `schema_node` (may be null). Absent values and objects write nothing.
void value_format(const json_t* value, const json_t* schema_node);
