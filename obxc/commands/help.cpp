#include "commands/help.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "commands/table.hpp"
#include "ox_colors.hpp"
#include "ox_log.hpp"
#include "ox_raii.hpp"
#include "session/interrupt.hpp"
#include "session/prompt.hpp"

namespace {

int compare_names(const void* a, const void* b) {
    return strcmp(static_cast<const ShellCommand*>(a)->name, static_cast<const ShellCommand*>(b)->name);
}

bool is_listed(const ShellCommand& row) {
    return row.syntax && row.help;
}

}  // namespace

int help_command(const char*, json_t*) {
    CharsRef block(static_cast<char*>(_xmalloc(sizeof(command_table), __func__, __LINE__, __FILE__)));
    memcpy(block.get(), command_table, sizeof(command_table));
    ShellCommand* rows = reinterpret_cast<ShellCommand*>(block.get());
    qsort(rows, COMMAND_COUNT, sizeof(*rows), compare_names);
    size_t width = 0;
    for (const ShellCommand& row : command_table) {
        if (is_listed(row) && strlen(row.syntax) > width) width = strlen(row.syntax);
    }
    if (width == 0) {
        puts("No available help. Please refer to #15692");
        return 0;
    }
    for (int i = 0; i < COMMAND_COUNT; i++) {
        if (!is_listed(rows[i])) continue;
        ox_colors_set_hsv2(colour_scheme[COLOUR_AUTOCOMPLETE]);
        printf("%-*s", static_cast<int>(width), rows[i].syntax);
        ox_colors_reset();
        printf(" - %s\n", rows[i].help);
        interrupt_point();
    }
    return 0;
}
