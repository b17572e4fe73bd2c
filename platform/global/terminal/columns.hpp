// Lists in columns.
#pragma once

#include <jansson.h>
#include <stddef.h>

#include "ox_array.hpp"
#include "ox_columns.hpp"

struct ColumnLayout {
    size_t rows;
    size_t columns;
    size_t* widths;  ///< of each column, the gap behind it included; heap, the caller frees it
};
/// Columns for `count` entries of these widths, filled down then across, on a screen of `width`: as few rows
/// as fit, one column when nothing else does.
ColumnLayout columns_layout(const size_t* widths, size_t count, size_t width);

/// A list of texts that is shown row by row.
struct ColumnList {
    ox_array<char*> texts;    ///< heap, escaped for the terminal
    ox_array<size_t> widths;  ///< of each of them
    ColumnLayout layout;
};
/// The strings of an array for a screen of `width`. The caller releases it with columns_free.
ColumnList columns_list(const json_t* strings, size_t width);
/// Prints at most `count` rows from row `first` on, each in a colour ("" for none).
void columns_print(const ColumnList& list, size_t first, size_t count, const char* colour);
void columns_free(ColumnList* list);
