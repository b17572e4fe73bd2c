#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <time.h>

#include "ox_out_buffer.hpp"
#include "ox_wait.hpp"

namespace {

struct Wait {
    void (*enter)(void);
    void (*leave)(void);
    volatile sig_atomic_t interrupt_noted;
} waiting;

int wait_between_hooks(struct pollfd* fds, nfds_t count, int timeout_ms, const sigset_t* mask) {
    ox_out_flush();
    if (waiting.enter) waiting.enter();
    struct timespec time = {timeout_ms / 1000, timeout_ms % 1000 * 1000000L};
    int result = ppoll(fds, count, timeout_ms < 0 ? nullptr : &time, mask);
    int error = errno;
    if (waiting.leave) waiting.leave();
    errno = error;
    return result;
}

}  // namespace

void ox_wait_set_hooks(void (*enter)(void), void (*leave)(void)) {
    waiting.enter = enter;
    waiting.leave = leave;
}

int ox_wait_poll(struct pollfd* fds, nfds_t count, int timeout_ms) {
    return wait_between_hooks(fds, count, timeout_ms, nullptr);
}

int ox_wait_poll_keys(struct pollfd* fds, nfds_t count, int timeout_ms) {
    sigset_t interrupt;
    sigset_t before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &before);
    int result = waiting.interrupt_noted ? 0 : wait_between_hooks(fds, count, timeout_ms, &before);
    int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    // Read once, when those that were held off have come: a later one ends the next wait.
    bool noted = waiting.interrupt_noted;
    errno = noted ? EINTR : error;
    return noted ? -1 : result;
}

void ox_wait_note_interrupt(void) {
    waiting.interrupt_noted = 1;
}

bool ox_wait_interrupt_noted(void) {
    return waiting.interrupt_noted;
}

bool ox_wait_take_interrupt(void) {
    bool noted = waiting.interrupt_noted;
    waiting.interrupt_noted = 0;
    return noted;
}

void ox_wait_sleep_ms(long long ms) {
    long long end = ox_wait_now_ms() + ms;
    for (long long left = ms; left > 0; left = end - ox_wait_now_ms()) {
        ox_wait_poll(nullptr, 0, left > 1000000 ? 1000000 : static_cast<int>(left));
    }
}

long long ox_wait_now_ms(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}
