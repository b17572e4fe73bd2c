#include <errno.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "ox_echo.hpp"

namespace {

/// The terminal whose echo is off.
struct Hidden {
    volatile sig_atomic_t fd;  // -1: none
    volatile sig_atomic_t resumed;
    struct termios shown_modes;  // with the echo
} hidden = {.fd = -1};

// What ends or stops the program by default would leave the terminal mute.
const int watched[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

void on_end(int number) {
    int error = errno;
    tcsetattr(hidden.fd, TCSADRAIN, &hidden.shown_modes);
    signal(number, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, number);
    raise(number);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    // Here the program goes on after a stop.
    hidden.resumed = 1;
    struct termios modes = hidden.shown_modes;
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(hidden.fd, TCSADRAIN, &modes);
    signal(number, on_end);
    errno = error;
}

void swap_handlers(void (*from)(int), void (*to)(int)) {
    for (int number : watched) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != from) continue;
        action = {};
        action.sa_handler = to;
        sigaction(number, &action, nullptr);
    }
}

}  // namespace

void ox_rl_echo_off(int fd) {
    struct termios modes;
    if (hidden.fd >= 0 || tcgetattr(fd, &modes) != 0 || !(modes.c_lflag & ECHO)) return;
    hidden.shown_modes = modes;
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (tcsetattr(fd, TCSADRAIN, &modes) != 0) return;
    hidden.fd = fd;
    hidden.resumed = 0;
    swap_handlers(SIG_DFL, on_end);
}

void ox_rl_echo_on(int fd) {
    if (hidden.fd < 0 || (fd >= 0 && fd != hidden.fd)) return;
    swap_handlers(on_end, SIG_DFL);
    tcsetattr(hidden.fd, TCSADRAIN, &hidden.shown_modes);
    hidden.fd = -1;
}

bool ox_rl_echo_take_resume(void) {
    bool taken = hidden.resumed;
    hidden.resumed = 0;
    return taken;
}
