#include "session/interrupt.hpp"

#include <pthread.h>
#include <stdio.h>
#include <termios.h>
#include <unistd.h>

#include "ox_colors.hpp"
#include "ox_confapi.hpp"
#include "ox_editor.hpp"
#include "ox_out.hpp"
#include "ox_screen.hpp"
#include "ox_wait.hpp"
#include "session/identity.hpp"
#include "session/patience.hpp"
#include "session/prompt.hpp"
#include "session/request.hpp"

volatile sig_atomic_t interrupt_armed = 0;
sigjmp_buf interrupt_context;
const ox_held_mark* interrupt_held = nullptr;

namespace {

volatile sig_atomic_t waiting = 0;
volatile sig_atomic_t marked = 0;
pthread_t main_thread;

// The thread that serves a file waits too: a jump out of its wait would run the main thread's code on it.
bool on_main_thread() {
    return pthread_equal(pthread_self(), main_thread);
}

void wait_enter() {
    if (!on_main_thread()) return;
    waiting = 1;
    if (interrupt_armed && marked) interrupt_jump();
}

void wait_leave() {
    if (on_main_thread()) waiting = 0;
}

volatile sig_atomic_t ended = 0;

void end_interrupt(int number) {
    if (ended) {
        signal(number, SIG_DFL);
        raise(number);
        return;
    }
    ended = number;
    raise(SIGINT);
}

enum { START_MS = 1000 };
sigset_t first_mask;
long long start_ms = 0;

void start_interrupt(int number) {
    if (!waiting || ox_wait_now_ms() - start_ms < START_MS) {
        ox_wait_note_interrupt();
    } else if (interrupt_armed) {
        interrupt_jump();
    } else {
        signal(number, SIG_DFL);
        raise(number);
    }
}

}  // namespace

void interrupt_init(void) {
    main_thread = pthread_self();
    ox_wait_set_hooks(wait_enter, wait_leave);
    ox_out_set_cancel([] { return interrupt_armed && marked; });
}

void interrupt_begin(void) {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &first_mask);
}

void interrupt_begin_end(bool shell) {
    start_ms = ox_wait_now_ms();
    if (shell) interrupt_install(start_interrupt);
    pthread_sigmask(SIG_SETMASK, &first_mask, nullptr);
}

void interrupt_install(void (*handler)(int)) {
    marked = 0;
    struct sigaction action = {};
    action.sa_handler = handler;
    // Restarted, so that no write of standard output is cut short and its text lost; poll never is.
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
}

void interrupt_disarm(void) {
    interrupt_armed = 0;
    interrupt_install(idle_interrupt);
}

void shell_interrupt(int signal) {
    if (!interrupt_armed) {
        if (signal == SIGINT) ox_wait_note_interrupt();
        return;
    }
    if (!on_main_thread()) {
        pthread_kill(main_thread, signal);
        return;
    }
    if (waiting) interrupt_jump();
    marked = 1;
}

bool interrupt_is_here(void) {
    return on_main_thread();
}

bool interrupt_pending(void) {
    return marked;
}

void interrupt_jump(void) {
    interrupt_armed = 0;
    marked = 0;
    waiting = 0;
    ox_held_release(*interrupt_held);
    siglongjmp(interrupt_context, 1);
}

void interrupt_forget(void) {
    marked = 0;
}

void interrupt_point(void) {
    ox_out_line();
    if (interrupt_armed && marked) interrupt_jump();
}

void interrupt_recover(void) {
    patience_leave();
    if (ox_out_is_slow()) tcflush(STDOUT_FILENO, TCOFLUSH);
    ox_rl_recover();
    ox_colors_reset();
    ox_confapi_ignore_next_error_exec(0);
    request_recover();
    identity_recover();
    prompt_rebuild();
}

void interrupt_catch_ends(bool on) {
    ox_rl_yield_signals(on ? end_interrupt : nullptr);
    static const int numbers[] = {SIGTERM, SIGHUP};
    for (int number : numbers) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) != 0) continue;
        if (action.sa_handler != (on ? SIG_DFL : end_interrupt)) continue;
        action.sa_handler = on ? end_interrupt : SIG_DFL;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

int interrupt_ended(void) {
    return ended;
}

void idle_interrupt(int) {
    ox_wait_note_interrupt();
}

void interrupt_take_idle(void) {
    if (ox_wait_take_interrupt()) interrupt_jump();
}

bool idle_interrupt_taken(void) {
    return ox_wait_take_interrupt();
}
