#include <errno.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <time.h>

#include "ox_wait.hpp"

namespace {

void (*enter_hook)(void) = nullptr;
void (*leave_hook)(void) = nullptr;

}  // namespace

void ox_wait_set_hooks(void (*enter)(void), void (*leave)(void)) {
    enter_hook = enter;
    leave_hook = leave;
}

int ox_wait_poll(struct pollfd* fds, nfds_t count, int timeout_ms) {
    if (__fpending(stdout) > 0) fflush(stdout);
    if (enter_hook) enter_hook();
    int result = poll(fds, count, timeout_ms);
    int error = errno;
    if (leave_hook) leave_hook();
    errno = error;
    return result;
}

void ox_wait_sleep_ms(long ms) {
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
