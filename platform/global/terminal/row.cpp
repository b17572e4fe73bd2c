// Rows that the editor finds half full.
#include <stdio.h>
// readline.h needs stdio.h before it.
#include <readline/readline.h>
#include <string.h>
#include <unistd.h>

#include "editor.hpp"

void row_start(void) {
    if (!ox_rl_get_terminal_capabilities(nullptr)->cursor) return;
    const char* erase = rl_get_termcap("ce");
    int rows = 0;
    int columns = 0;
    // One less where the cursor does not wait behind the last column.
    rl_get_screen_size(&rows, &columns);
    if (columns <= 0 || !erase || strncmp(erase, "\033[K", 3) != 0) return;
    // As many blanks as there are columns end on the next row only where something stood on this one.
    printf("%*s\r\033[K", columns, "");
}

void ox_rl_end_row(void) {
    if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO)) return;
    putchar('\n');
    fflush(stdout);
}
