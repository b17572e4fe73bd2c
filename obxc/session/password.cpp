#include "session/password.hpp"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "ox_echo.hpp"
#include "ox_editor.hpp"
#include "ox_log.hpp"
#include "ox_out_buffer.hpp"
#include "ox_wait.hpp"

namespace {

void show(const char* question) {
    fputs(question, stdout);
    ox_out_push();
}

/// The next byte of standard input, or -1 at its end. `question` is shown again when the program was stopped
/// meanwhile.
int read_byte(const char* question) {
    for (;;) {
        struct pollfd input = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        if (ox_rl_pending() || ox_wait_poll(&input, 1, -1) >= 0) return ox_rl_getch();
        if (ox_rl_echo_take_resume()) show(question);
    }
}

/// Makes room for one byte and the zero behind `length`; what is given up is overwritten.
void grow(PasswordRef* line, size_t length, size_t* size) {
    if (length + 1 < *size) return;
    *size = *size ? *size * 2 : 64;
    auto* grown = static_cast<char*>(_xmalloc(*size, "password_prompt", __LINE__, "obxc/main"));
    if (length > 0) memcpy(grown, line->get(), length);
    grown[length] = '\0';
    line->reset(grown);
}

/// One line of standard input without its newline, byte by byte as the editor does, so that neither takes
/// what the other should read.
PasswordRef read_line(const char* question) {
    PasswordRef line;
    size_t size = 0;
    for (size_t length = 0;; length++) {
        int byte = read_byte(question);
        if (byte < 0 && length == 0) return PasswordRef();
        grow(&line, length, &size);
        bool end = byte < 0 || byte == '\n' || byte == '\r';
        if (end) return line;
        line[length] = static_cast<char>(byte);
        line[length + 1] = '\0';
    }
}

}  // namespace

void password_drop(char* text) {
    if (!text) return;
    explicit_bzero(text, strlen(text));
    free(text);
}

PasswordRef password_prompt(const char* format, ...) {
    va_list args;
    va_start(args, format);
    char question[512];
    vsnprintf(question, sizeof(question), format, args);
    va_end(args);
    ox_rl_echo_off(STDIN_FILENO);  // before the question is shown: what is typed at once is not echoed
    show(question);
    PasswordRef line = read_line(question);
    ox_rl_echo_on(STDIN_FILENO);
    fputc('\n', stdout);
    return line;
}
