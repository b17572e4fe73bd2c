#include "bytes.hpp"

#include <errno.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "editor.hpp"
#include "guard.hpp"
#include "ox_wait.hpp"

namespace {

/// The bound of the wait for the rest of a key's bytes, where readline reads on by itself.
enum { KEY_REST_MS = 1000 };

int kept = OX_RL_NO_KEY;  // a byte that was read too early

bool input_is_over(void) {
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0 && (input.revents & (POLLHUP | POLLERR | POLLNVAL));
}

/// The next byte, -1 at the input's end, OX_RL_NO_KEY where there is none now.
int read_byte(void) {
    unsigned char byte;
    ssize_t got = read(STDIN_FILENO, &byte, 1);
    if (got == 1) return byte;
    if (got < 0) return errno == EAGAIN || errno == EINTR ? OX_RL_NO_KEY : -1;
    // In key mode a read of the terminal that gives no byte means that no key is there, not the input's end.
    return guard_reads_at_once() && !input_is_over() ? OX_RL_NO_KEY : -1;
}

}  // namespace

int bytes_read(void) {
    if (kept != OX_RL_NO_KEY) {
        int byte = kept;
        kept = OX_RL_NO_KEY;
        return byte;
    }
    for (;;) {
        int byte = read_byte();
        // Ctrl-C has emptied the terminal's queue.
        if (byte != OX_RL_NO_KEY || guard_reads_at_once()) return byte;
        struct pollfd input = {STDIN_FILENO, POLLIN, 0};
        ox_wait_poll(&input, 1, -1);
    }
}

int bytes_at_hand(void) {
    if (!guard_reads_at_once() || bytes_kept() || ox_wait_interrupt_noted()) return OX_RL_NO_KEY;
    int byte = read_byte();
    if (byte < 0 || !ox_wait_interrupt_noted()) return byte < 0 ? OX_RL_NO_KEY : byte;
    // Typed behind a Ctrl-C, which is taken first.
    kept = byte;
    return OX_RL_NO_KEY;
}

bool bytes_kept(void) {
    return kept != OX_RL_NO_KEY;
}

int bytes_in_pipe(void) {
    int count = 0;
    return !isatty(STDIN_FILENO) && ioctl(STDIN_FILENO, FIONREAD, &count) == 0 ? count : 0;
}

int bytes_for_readline(FILE*) {
    if (editor.fed >= 0) {
        int key = editor.fed;
        editor.fed = -1;
        return key;
    }
    int byte = bytes_at_hand();
    if (byte != OX_RL_NO_KEY) return byte;
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    if (!bytes_kept() && ox_wait_poll(&input, 1, KEY_REST_MS) <= 0) return EOF;
    byte = bytes_read();
    return byte < 0 ? EOF : byte;
}
