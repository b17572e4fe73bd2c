#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "ox_rl.hpp"

namespace {

int hidden_fd = -1;
struct termios shown_modes;

}  // namespace

void ox_rl_echo_off(int fd) {
    struct termios modes;
    if (hidden_fd >= 0 || tcgetattr(fd, &modes) != 0 || !(modes.c_lflag & ECHO)) return;
    shown_modes = modes;
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    modes.c_lflag |= ECHONL;
    if (tcsetattr(fd, TCSADRAIN, &modes) == 0) hidden_fd = fd;
}

void ox_rl_echo_on(int fd) {
    if (hidden_fd < 0 || (fd >= 0 && fd != hidden_fd)) return;
    tcsetattr(hidden_fd, TCSADRAIN, &shown_modes);
    hidden_fd = -1;
}
