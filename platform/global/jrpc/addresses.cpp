// Nothing ends the C library's look-up of a name but its answer, and that may take half a minute. So a child
// looks the name up, and dies with the wait for it.
#include "addresses.hpp"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ox_raii.hpp"
#include "socket_error.hpp"
#include "wait.hpp"

namespace {

class Child : ox_held {
public:
    explicit Child(pid_t pid) : ox_held(drop), pid_(pid) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }

private:
    static void drop(ox_held* self) { static_cast<Child*>(self)->~Child(); }
    pid_t pid_;
};

/// Why a look-up failed: the library tells of a name that nobody has where it could not open what it looks
/// in.
int reason_of(int failure) {
    if (failure == EAI_MEMORY) return ENOMEM;
    Fd spare(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (spare.get() < 0) return errno;
    return errno == EMFILE || errno == ENFILE ? errno : 0;
}

/// False where there is none.
bool look_up(const char* host, const char* port, int flags, HostAddresses* found) {
    struct addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | flags;
    struct addrinfo* list = nullptr;
    errno = 0;
    int failure = getaddrinfo(host, port, &hints, &list);
    if (failure != 0) {
        found->error = reason_of(failure);
        return false;
    }
    for (const struct addrinfo* info = list; info && found->count < ADDRESSES_MAX; info = info->ai_next) {
        HostAddress* address = &found->list[found->count++];
        address->size = info->ai_addrlen;
        memcpy(&address->address, info->ai_addr, info->ai_addrlen);
    }
    freeaddrinfo(list);
    return found->count > 0;
}

/// What the child does. It has none of the parent's ways to take a signal.
[[noreturn]] void answer(const char* host, const char* port, int out, const sigset_t* mask) {
    static const int numbers[] = {SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGQUIT, SIGWINCH, SIGCONT};
    for (int number : numbers) signal(number, SIG_DFL);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigprocmask(SIG_SETMASK, mask, nullptr);
    HostAddresses found = {};
    look_up(host, port, 0, &found);
    ssize_t written = write(out, &found, sizeof(found));
    static_cast<void>(written);
    _exit(0);
}

int outcome(const HostAddresses& found) {
    if (found.count > 0) return OX_SOCKET_OK;
    return found.error ? socket_error_of(found.error) : static_cast<int>(OX_SOCKET_EDESTINATION);
}

/// Starts the child; -1 where the system has none to give.
pid_t ask(const char* host, const char* port, Fd* in) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    in->reset(ends[0]);
    Fd out(ends[1]);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    pid_t pid = fork();
    if (pid == 0) {
        in->reset(-1);
        answer(host, port, out.get(), &before);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return pid;
}

}  // namespace

int addresses_find(const char* host, const char* port, long long deadline, HostAddresses* found) {
    static_assert(sizeof(HostAddresses) <= PIPE_BUF);
    *found = {};
    if (look_up(host, port, AI_NUMERICHOST, found)) return OX_SOCKET_OK;
    Fd in;
    pid_t pid = ask(host, port, &in);
    if (pid < 0) {
        look_up(host, port, 0, found);
        return outcome(*found);
    }
    Child child(pid);
    int rc = wait_until(in.get(), POLLIN, deadline);
    if (rc != OX_SOCKET_OK) return rc;
    bool whole = read(in.get(), found, sizeof(*found)) == static_cast<ssize_t>(sizeof(*found));
    return whole ? outcome(*found) : OX_SOCKET_EDESTINATION;
}
