#include "columns.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_out.hpp"
#include "ox_rl.hpp"
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

void print_rows(char* const* texts, const size_t* sizes, size_t count, const ColumnLayout& layout,
                const char* colour) {
    for (size_t row = 0; row < layout.rows; row++) {
        fputs(colour, stdout);
        for (size_t column = 0; column < layout.columns; column++) {
            size_t i = column * layout.rows + row;
            if (i >= count) break;
            fputs(texts[i], stdout);
            bool last = i + layout.rows >= count;
            if (!last) printf("%*s", static_cast<int>(layout.widths[column] - sizes[i]), "");
        }
        fputs(*colour ? "\033[0m\n" : "\n", stdout);
    }
}

}  // namespace

ColumnLayout columns_layout(const size_t* widths, size_t count, size_t width) {
    ColumnLayout layout = {count, 1, static_cast<size_t*>(calloc(width / (gap + 1) + 2, sizeof(size_t)))};
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

void columns_print(const json_t* list, const char* colour) {
    size_t count = json_array_size(list);
    if (!ox_out_is_terminal()) {
        for (size_t i = 0; i < count; i++) {
            const json_t* entry = json_array_get(list, i);
            if (!json_is_string(entry)) continue;
            fwrite(json_string_value(entry), 1, json_string_length(entry), stdout);
            putchar('\n');
        }
        return;
    }
    auto** texts = static_cast<char**>(calloc(count + 1, sizeof(char*)));
    auto* sizes = static_cast<size_t*>(calloc(count + 1, sizeof(size_t)));
    size_t used = 0;
    for (size_t i = 0; texts && sizes && i < count; i++) {
        const json_t* entry = json_array_get(list, i);
        if (!json_is_string(entry)) continue;
        texts[used] = ox_out_escape(json_string_value(entry), static_cast<long>(json_string_length(entry)));
        sizes[used] = terminal_text_width(texts[used], strlen(texts[used]));
        used++;
    }
    ColumnLayout layout = columns_layout(sizes, used, terminal_columns());
    if (layout.widths) print_rows(texts, sizes, used, layout, colour);
    free(layout.widths);
    for (size_t i = 0; i < used; i++) free(texts[i]);
    free(texts);
    free(sizes);
}

void ox_rl_show_list(const json_t* list) {
    columns_print(list, "");
}
