// The listing of a node's schema attributes.
#pragma once

#include "obxc.hpp"

/// Prints the attributes that are present, a line each; values start in column 21. `schema_node` gives the
/// number base of the values.
void attr_print(const char* path, const json_t* schema_node, json_t* attributes);
/// "label:" and the value.
void attr_line(const char* label, const json_t* value, const json_t* schema_node);
/// "label: " and below it the elements, a line each; nothing for an absent or empty array.
void attr_list(const json_t* array, const char* label, const json_t* schema_node);
