#include "net/listener.hpp"

#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace obxd {

namespace {

constexpr int BACKLOG = 128;
constexpr int LOCK_TRIES = 100;
constexpr int LOCK_WAIT_US = 10000;

Fd fail(std::string& error, const std::string& place, const std::string& what) {
    error = place + ": " + what;
    return Fd();
}

// Clears the way for a new socket at the address: 0, or -1 with the reason.
int replace_dead(const sockaddr_un& address, std::string& reason) {
    struct stat status;
    if (lstat(address.sun_path, &status) != 0) return 0;
    if (!S_ISSOCK(status.st_mode)) {
        reason = "exists and is no socket";
        return -1;
    }
    Fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
        errno == EAGAIN) {
        reason = "another daemon serves it";
        return -1;
    }
    if (errno != ECONNREFUSED || unlink(address.sun_path) != 0) {
        reason = strerror(errno);
        return -1;
    }
    return 0;
}

// Between the look at the old socket and the listening on the new one no other daemon may do the same. The
// lock is that of the directory: a file for it would stay. Who holds it for long is no daemon, and is not
// waited for.
Fd lock_parent(const std::string& path) {
    size_t slash = path.rfind('/');
    std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    Fd lock(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int tries = 0; lock.get() >= 0 && tries < LOCK_TRIES; tries++) {
        if (flock(lock.get(), LOCK_EX | LOCK_NB) == 0) break;
        usleep(LOCK_WAIT_US);
    }
    return lock;
}

int bound_port(int fd) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<sockaddr_in6*>(&address)->sin6_port);
    return ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port);
}

Fd bind_one(const addrinfo& info) {
    Fd fd(socket(info.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    int one = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (bind(fd.get(), info.ai_addr, info.ai_addrlen) != 0 || listen(fd.get(), BACKLOG) != 0) fd.reset();
    return fd;
}

}  // namespace

Fd listen_local(const std::string& path, std::string& error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return fail(error, path, "the socket's path is too long");
    memcpy(address.sun_path, path.c_str(), path.size());
    std::string reason;
    Fd lock = lock_parent(path);
    if (replace_dead(address, reason) < 0) return fail(error, path, reason);
    Fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return fail(error, path, strerror(errno));
    // Everybody on the host may connect: the login decides who may do what.
    if (chmod(path.c_str(), 0666) != 0 || listen(fd.get(), BACKLOG) != 0)
        return fail(error, path, strerror(errno));
    return fd;
}

ino_t listen_inode(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

void unlisten_local(const std::string& path, ino_t inode) {
    Fd lock = lock_parent(path);
    if (inode != 0 && listen_inode(path) == inode) unlink(path.c_str());
}

Fd listen_tcp(const std::string& host, int& port, std::string& error) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    std::string place = (host.empty() ? "*" : host) + ":" + std::to_string(port);
    int code =
        getaddrinfo(host.empty() ? nullptr : host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (code != 0) return fail(error, place, gai_strerror(code));
    Fd fd;
    int saved = 0;
    for (const addrinfo* info = list; info && fd.get() < 0; info = info->ai_next) {
        fd = bind_one(*info);
        if (fd.get() < 0) saved = errno;
    }
    freeaddrinfo(list);
    if (fd.get() < 0) return fail(error, place, strerror(saved));
    port = bound_port(fd.get());
    return fd;
}

}  // namespace obxd
