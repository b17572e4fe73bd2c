#include "guard.hpp"

#include <errno.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "editor.hpp"
#include "hint.hpp"

namespace {

struct Guard {
    // What the signals told.
    volatile sig_atomic_t resized;
    volatile sig_atomic_t resumed;
    volatile sig_atomic_t hung_up;
    // The terminal's modes, where it gives single keys and where it gives lines.
    struct termios key_modes;
    struct termios line_modes;
    bool line_modes_known;
    bool reads_at_once;
    void (*yielding)(int);  // a handler of others that is not in force while the editor reads keys
} guard;

void write_all(const char* text, size_t size) {
    ssize_t written = write(STDOUT_FILENO, text, size);
    static_cast<void>(written);
}

void on_resize(int) {
    guard.resized = 1;
}

void leave_key_mode(void) {
    if (hint_is_drawn()) write_all("\033[K", 3);
    if (editor.bracketed) write_all("\033[?2004l", 8);
    if (guard.line_modes_known) tcsetattr(STDIN_FILENO, TCSADRAIN, &guard.line_modes);
}

/// Stops or ends the program as the signal does by default, in line mode.
void on_stop_or_end(int number) {
    int error = errno;
    leave_key_mode();
    if (number != SIGTSTP) write_all("\n", 1);
    struct sigaction standard = {};
    struct sigaction own;
    standard.sa_handler = SIG_DFL;
    sigaction(number, &standard, &own);
    sigset_t only;
    sigset_t before;
    sigemptyset(&only);
    sigaddset(&only, number);
    raise(number);
    sigprocmask(SIG_UNBLOCK, &only, &before);
    // Here the program goes on: after a stop, which on_continue then knows about, or at once where nobody
    // could continue it (it is the terminal's first process).
    sigprocmask(SIG_SETMASK, &before, nullptr);
    sigaction(number, &own, nullptr);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &guard.key_modes);
    if (editor.bracketed) write_all("\033[?2004h", 8);
    errno = error;
}

void on_continue(int) {
    int error = errno;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &guard.key_modes);
    guard.resumed = 1;
    errno = error;
}

/// The terminal is gone, or the program is to end: the input ends here, and the program leaves as it does
/// then. Asked for twice, it ends at once.
void on_hang_up(int number) {
    if (guard.hung_up && number == SIGTERM) on_stop_or_end(number);
    guard.hung_up = number;
}

struct Watch {
    int number;
    void (*handler)(int);
    bool installed;
    struct sigaction before;
};
Watch watches[] = {{SIGWINCH, on_resize, false, {}},     {SIGCONT, on_continue, false, {}},
                   {SIGTSTP, on_stop_or_end, false, {}}, {SIGTERM, on_hang_up, false, {}},
                   {SIGHUP, on_hang_up, false, {}},      {SIGQUIT, on_stop_or_end, false, {}}};

/// Keys are taken as they come: a read that finds none does not wait.
bool read_at_once(void) {
    if (tcgetattr(STDIN_FILENO, &guard.key_modes) != 0) return false;
    guard.key_modes.c_cc[VMIN] = 0;
    guard.key_modes.c_cc[VTIME] = 0;
    return tcsetattr(STDIN_FILENO, TCSANOW, &guard.key_modes) == 0;
}

}  // namespace

void guard_on(void) {
    guard.reads_at_once = read_at_once();
    for (Watch& watch : watches) {
        struct sigaction now;
        if (watch.installed || sigaction(watch.number, nullptr, &now) != 0) continue;
        if (now.sa_handler != SIG_DFL && (!guard.yielding || now.sa_handler != guard.yielding)) continue;
        watch.before = now;
        struct sigaction own = {};
        own.sa_handler = watch.handler;
        sigemptyset(&own.sa_mask);
        watch.installed = sigaction(watch.number, &own, nullptr) == 0;
    }
}

void guard_off(void) {
    guard.reads_at_once = false;
    for (Watch& watch : watches) {
        if (!watch.installed) continue;
        watch.installed = false;
        struct sigaction now;
        if (sigaction(watch.number, nullptr, &now) != 0 || now.sa_handler != watch.handler) continue;
        sigaction(watch.number, &watch.before, nullptr);
    }
}

void guard_before(void) {
    guard.line_modes_known = tcgetattr(STDIN_FILENO, &guard.line_modes) == 0;
}

bool guard_echoes(void) {
    return guard.line_modes_known && (guard.line_modes.c_lflag & ECHO);
}

bool guard_take_resize(void) {
    bool taken = guard.resized;
    guard.resized = 0;
    return taken;
}

bool guard_take_resume(void) {
    bool taken = guard.resumed;
    guard.resumed = 0;
    return taken;
}

bool guard_reads_at_once(void) {
    return guard.reads_at_once;
}

void guard_yield(void (*handler)(int)) {
    guard.yielding = handler;
}

int guard_hung_up(void) {
    return guard.hung_up;
}
