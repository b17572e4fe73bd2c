#include "session/interrupt.hpp"

#include <pthread.h>
#include <stdio.h>

#include "ox_colors.hpp"
#include "ox_confapi.hpp"
#include "ox_editor.hpp"
#include "ox_out.hpp"
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

}  // namespace

void interrupt_init(void) {
    main_thread = pthread_self();
    ox_wait_set_hooks(wait_enter, wait_leave);
    ox_out_set_cancel([] { return interrupt_armed && marked; });
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
    if (!interrupt_armed) return;
    if (!on_main_thread()) {
        pthread_kill(main_thread, signal);
        return;
    }
    if (waiting) interrupt_jump();
    marked = 1;
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
    if (interrupt_armed && marked) interrupt_jump();
}

void interrupt_recover(void) {
    patience_leave();
    ox_rl_recover();
    ox_colors_reset();
    ox_confapi_ignore_next_error_exec(0);
    request_recover();
    identity_recover();
    prompt_rebuild();
}

void idle_interrupt(int) {
    ox_wait_note_interrupt();
}

bool idle_interrupt_taken(void) {
    return ox_wait_take_interrupt();
}
