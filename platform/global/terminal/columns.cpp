#include "columns.hpp"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_memory.hpp"
#include "ox_out.hpp"
#include "screen.hpp"
#include "width.hpp"

namespace {

const size_t gap = 2;

/// Whether `count` entries in `rows` rows fit; fills the columns' widths.
bool fits(const size_t* entries, size_t count, size_t rows, size_t width, size_t* widths, size_t* columns) {
    size_t total = 0;
    *columns = 0;
    for (size_t start = 0; start < count; start += rows) {
        size_t widest = 0;
        for (size_t i = start; i < count && i < start + rows; i++) {
            if (entries[i] > widest) widest = entries[i];
        }
        total += widest;
        if (total > width) return false;
        widths[(*columns)++] = widest + gap;
        total += gap;
    }
    return true;
}

void print_row(const ColumnList& list, size_t row, const char* colour) {
    const ColumnLayout& layout = list.layout;
    fputs(colour, stdout);
    for (size_t column = 0; column < layout.columns; column++) {
        size_t i = column * layout.rows + row;
        if (i >= list.texts.size) break;
        fputs(list.texts[i], stdout);
        bool last = i + layout.rows >= list.texts.size;
        if (!last) printf("%*s", static_cast<int>(layout.widths[column] - list.widths[i]), "");
    }
    fputs(*colour ? "\033[0m\n" : "\n", stdout);
}

}  // namespace

size_t ox_text_columns(const char* text, size_t size) {
    return terminal_text_width(text, size);
}

ColumnLayout columns_layout(const size_t* widths, size_t count, size_t width) {
    ColumnLayout layout = {count, 1,
                           static_cast<size_t*>(ox_memory_new((width / (gap + 1) + 2) * sizeof(size_t)))};
    if (!layout.widths || count == 0) return layout;
    size_t most = (width + gap) / (gap + 1);
    for (size_t columns = most < count ? most : count; columns > 1; columns--) {
        size_t rows = (count + columns - 1) / columns;
        if (fits(widths, count, rows, width, layout.widths, &layout.columns)) {
            layout.rows = rows;
            return layout;
        }
    }
    layout.rows = count;
    layout.columns = 1;
    return layout;
}

ColumnList columns_list(const json_t* strings, size_t width) {
    ColumnList list = {};
    size_t index;
    const json_t* entry;
    json_array_foreach(strings, index, entry) {
        if (!json_is_string(entry)) continue;
        char* text = ox_out_escape(json_string_value(entry), static_cast<long>(json_string_length(entry)));
        list.texts.push(text);
        list.widths.push(terminal_text_width(text, strlen(text)));
    }
    list.layout = columns_layout(list.widths.data, list.widths.size, width);
    return list;
}

void columns_print(const ColumnList& list, size_t first, size_t count, const char* colour) {
    if (!list.layout.widths) return;
    for (size_t row = first; row < list.layout.rows && row - first < count; row++) {
        print_row(list, row, colour);
        if (!ox_out_line()) return;
    }
}

void columns_free(ColumnList* list) {
    for (char* text : list->texts) free(text);
    list->texts.clear();
    list->widths.clear();
    free(list->layout.widths);
    list->layout = {};
}

void ox_rl_show_list(const json_t* strings) {
    if (ox_out_is_terminal()) {
        ColumnList list = columns_list(strings, ox_screen_columns());
        columns_print(list, 0, SIZE_MAX, "");
        columns_free(&list);
        return;
    }
    size_t index;
    const json_t* entry;
    json_array_foreach(strings, index, entry) {
        if (!json_is_string(entry)) continue;
        fwrite(json_string_value(entry), 1, json_string_length(entry), stdout);
        putchar('\n');
    }
}
