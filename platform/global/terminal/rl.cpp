// The blocking call: a loop over the asynchronous editor.
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include "editor.hpp"
#include "ox_wait.hpp"

namespace {

void on_interrupt(int) {
    ox_wait_note_interrupt();
}

/// Waits for the next byte: 1 when there is one, 0 on time-out, -1 on Ctrl-C.
int wait_key(int timeout_ms) {
    for (;;) {
        if (ox_rl_pending()) return 1;
        struct sigaction before;
        sigaction(SIGINT, nullptr, &before);
        bool ours = before.sa_handler == SIG_DFL;
        if (ours) {
            struct sigaction quiet = {};
            quiet.sa_handler = on_interrupt;
            sigaction(SIGINT, &quiet, nullptr);
        }
        struct pollfd input = {STDIN_FILENO, POLLIN, 0};
        int result = ox_wait_poll_keys(&input, 1, timeout_ms);
        int error = errno;
        if (ours) sigaction(SIGINT, &before, nullptr);
        if (result >= 0) return result > 0;
        if (error != EINTR) return 1;
        if (ox_wait_take_interrupt()) return -1;
        ox_rl_resized();
    }
}

}  // namespace

char* ox_rl(const char* prompt, int timeout_ms) {
    // One that lives on when the wait is left by a jump.
    static ox_rl_async* handle = ox_rl_async_new();
    ox_rl_async_prepare(handle, prompt);
    for (;;) {
        int ready = wait_key(timeout_ms);
        if (ready <= 0) {
            editor.ctrl_d = false;
            if (ready < 0) {
                ox_rl_async_to_end(handle);
                puts("^C");
                ox_rl_async_clear(handle);
            }
            ox_rl_async_restore(handle);
            ox_rl_async_clear(handle);
            return nullptr;
        }
        int status = 0;
        char* line = ox_rl_async_feed(handle, ox_rl_getch(), &status);
        if (status == 1) continue;
        ox_rl_async_restore(handle);
        return line;
    }
}
