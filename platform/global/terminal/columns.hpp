// Lists in columns.
#pragma once

#include <jansson.h>
#include <stddef.h>

struct ColumnLayout {
    size_t rows;
    size_t columns;
    size_t* widths;  ///< of each column, the gap behind it included; heap, the caller frees it
};
/// Columns for `count` entries of these widths, filled down then across, on a screen of `width`: as few rows
/// as fit, one column when nothing else does.
ColumnLayout columns_layout(const size_t* widths, size_t count, size_t width);

/// Prints the strings of an array as ox_rl_show_list does, each row in a colour ("" for none).
void columns_print(const json_t* list, const char* colour);
