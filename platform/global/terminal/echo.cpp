// The echo of a terminal, switched off while a secret is typed.
#include <errno.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "editor.hpp"

namespace {

volatile sig_atomic_t hidden_fd = -1;
volatile sig_atomic_t resumed = 0;
struct termios shown_modes;

// What ends or stops the program by default would leave the terminal mute.
const int watched[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

void on_end(int number) {
    int error = errno;
    tcsetattr(hidden_fd, TCSADRAIN, &shown_modes);
    signal(number, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, number);
    raise(number);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    // Here the program goes on after a stop.
    resumed = 1;
    struct termios modes = shown_modes;
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(hidden_fd, TCSADRAIN, &modes);
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
    if (hidden_fd >= 0 || tcgetattr(fd, &modes) != 0 || !(modes.c_lflag & ECHO)) return;
    shown_modes = modes;
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (tcsetattr(fd, TCSADRAIN, &modes) != 0) return;
    hidden_fd = fd;
    resumed = 0;
    swap_handlers(SIG_DFL, on_end);
}

void ox_rl_echo_on(int fd) {
    if (hidden_fd < 0 || (fd >= 0 && fd != hidden_fd)) return;
    swap_handlers(on_end, SIG_DFL);
    tcsetattr(hidden_fd, TCSADRAIN, &shown_modes);
    hidden_fd = -1;
}

bool ox_rl_echo_resumed(void) {
    bool taken = resumed;
    resumed = 0;
    return taken;
}
