#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include "editor.hpp"
#include "guard.hpp"
#include "ox_out_buffer.hpp"
#include "ox_rl.hpp"
#include "ox_wait.hpp"

namespace {

/// Made by the first call: it lives on when a wait is left by a jump.
ox_rl_async* blocking = nullptr;

void on_interrupt(int) {
    ox_wait_note_interrupt();
}

/// Notes SIGINT where it would end the program, key mode and all. False where somebody else takes it.
bool note_interrupts(void) {
    struct sigaction now;
    if (sigaction(SIGINT, nullptr, &now) != 0 || now.sa_handler != SIG_DFL) return false;
    now = {};
    now.sa_handler = on_interrupt;
    return sigaction(SIGINT, &now, nullptr) == 0;
}

[[noreturn]] void end_by(int number) {
    ox_out_push();
    raise(number);
    _exit(128 + number);  // process 1 of a system or container is not ended by the signal
}

/// Waits for the next byte: 1 when there is one, 0 on time-out, -1 on Ctrl-C.
int wait_key(int timeout_ms) {
    for (;;) {
        if (ox_rl_pending()) return 1;
        struct pollfd input = {STDIN_FILENO, POLLIN, 0};
        int result = ox_wait_poll_keys(&input, 1, timeout_ms);
        if (result >= 0) return result > 0;
        if (errno != EINTR) return 1;
        if (ox_wait_take_interrupt()) return -1;
        ox_rl_follow_terminal();
    }
}

/// A terminal that shows none of the output shows the question beside it.
void show_plain_prompt(const char* prompt) {
    if (editor.phase != EDITOR_PLAIN || !isatty(STDIN_FILENO)) return;
    ox_out_push();
    fputs(prompt, stderr);
}

void abandon(ox_rl_async* handle, bool on_interrupt, bool ends) {
    editor.ctrl_d = false;
    // In line mode the terminal has shown it itself.
    if (on_interrupt && !(ends && editor.phase == EDITOR_PLAIN)) {
        ox_rl_async_to_end(handle);
        puts("^C");
        ox_rl_async_clear(handle);
    }
    ox_rl_async_restore(handle);
    ox_rl_async_clear(handle);
}

char* read_line(ox_rl_async* handle, int timeout_ms, bool ends, bool* interrupted) {
    for (;;) {
        int ready = wait_key(timeout_ms);
        *interrupted = ready < 0;
        if (ready <= 0) {
            abandon(handle, *interrupted, ends);
            return nullptr;
        }
        int status = 0;
        char* line = ox_rl_async_feed(handle, ox_rl_getch(), &status);
        if (status == 1) continue;
        ox_rl_async_restore(handle);
        return line;
    }
}

}  // namespace

char* ox_rl(const char* prompt, int timeout_ms) {
    if (!blocking) blocking = ox_rl_async_new();
    bool ends = note_interrupts();
    ox_rl_async_prepare(blocking, prompt);
    show_plain_prompt(prompt);
    bool interrupted = false;
    char* line = read_line(blocking, timeout_ms, ends, &interrupted);
    if (ends) {
        signal(SIGINT, SIG_DFL);
        if (interrupted || ox_wait_take_interrupt()) end_by(SIGINT);
        if (guard_hung_up()) end_by(guard_hung_up());
    }
    return line;
}
