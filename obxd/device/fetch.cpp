#include "device/fetch.hpp"

#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "address.hpp"
#include "answers.hpp"
#include "device/files.hpp"
#include "digest.hpp"
#include "owners.hpp"

namespace obxd {

namespace {

constexpr int CONNECT_MS = 5000;
constexpr int SILENCE_MS = 10000;
constexpr std::string_view FILE_SCHEME = "file://";
constexpr std::string_view NETCAT_SCHEME = "netcat://";

void fail(Fetch& fetch, int code, std::string detail) {
    fetch.code = code;
    fetch.detail = std::move(detail);
}

bool has_scheme(const std::string& url, std::string_view scheme) {
    return url.size() >= scheme.size() && strncasecmp(url.c_str(), scheme.data(), scheme.size()) == 0;
}

// HOST:PORT of a netcat URL, whatever path follows.
bool netcat_address(const std::string& url, std::string& host, int& port) {
    std::string rest = url.substr(NETCAT_SCHEME.size());
    return split_host_port(rest.substr(0, rest.find('/')), host, port) && !host.empty() && port > 0;
}

Fd open_local(Fetch& fetch) {
    Fd fd(open(fetch.url.c_str() + FILE_SCHEME.size(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    if (fd.get() < 0 || fstat(fd.get(), &status) != 0) {
        fail(fetch, FAULT_TRANSFER, strerror(errno));
        return Fd();
    }
    if (S_ISREG(status.st_mode)) return fd;
    fail(fetch, FAULT_TRANSFER, "No regular file");
    return Fd();
}

bool wait_for(int fd, short events, int timeout_ms) {
    pollfd entry{fd, events, 0};
    int count = 0;
    do count = poll(&entry, 1, timeout_ms);
    while (count < 0 && errno == EINTR);
    if (count == 0) errno = ETIMEDOUT;
    return count > 0;
}

Fd connect_one(const addrinfo& info) {
    Fd fd(socket(info.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connect(fd.get(), info.ai_addr, info.ai_addrlen) == 0) return fd;
    if (errno != EINPROGRESS || !wait_for(fd.get(), POLLOUT, CONNECT_MS)) return Fd();
    int code = 0;
    socklen_t size = sizeof code;
    getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &code, &size);
    if (code == 0) return fd;
    errno = code;
    return Fd();
}

Fd open_netcat(Fetch& fetch) {
    std::string host;
    int port = 0;
    netcat_address(fetch.url, host, port);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    int code = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (code != 0) {
        fail(fetch, FAULT_TRANSFER, host + ": " + gai_strerror(code));
        return Fd();
    }
    Fd fd;
    for (const addrinfo* info = list; info && fd.get() < 0; info = info->ai_next) {
        fd = connect_one(*info);
        if (fd.get() < 0)
            fail(fetch, FAULT_TRANSFER, host + ":" + std::to_string(port) + ": " + strerror(errno));
    }
    freeaddrinfo(list);
    if (fd.get() >= 0) fail(fetch, 0, "");
    return fd;
}

// Copies to the end of the stream; fills the digest.
bool copy(Fetch& fetch, int from, int to, uint64_t& size, std::string& digest) {
    Digest sum("MD5");
    unsigned char block[65536];
    for (size = 0; fetch.code == 0;) {
        if (!wait_for(from, POLLIN, SILENCE_MS)) {
            fail(fetch, FAULT_TRANSFER, strerror(errno));
            break;
        }
        ssize_t got = read(from, block, sizeof block);
        if (got == 0) break;
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (got < 0)
            fail(fetch, FAULT_TRANSFER, strerror(errno));
        else if ((size += static_cast<uint64_t>(got)) > MAX_FETCH)
            fail(fetch, FAULT_RESOURCES, "The file is longer than 256 MiB");
        else if (!write_all(to, block, static_cast<size_t>(got)))
            fail(fetch, FAULT_RESOURCES, strerror(errno));
        else
            sum.add(block, static_cast<size_t>(got));
    }
    digest = sum.end();
    return fetch.code == 0;
}

void verify(Fetch& fetch, uint64_t size, const std::string& digest) {
    if (fetch.expected_size >= 0 && size != static_cast<uint64_t>(fetch.expected_size))
        return fail(
            fetch, FAULT_CORRUPTED,
            "Expected " + std::to_string(fetch.expected_size) + " bytes, got " + std::to_string(size));
    if (!fetch.md5.empty() && strcasecmp(fetch.md5.c_str(), digest.c_str()) != 0)
        fail(fetch, FAULT_CORRUPTED, "The MD5 digest is another one");
}

}  // namespace

int fetch_check_url(const std::string& url, std::string& detail) {
    if (has_scheme(url, FILE_SCHEME)) {
        if (url.size() > FILE_SCHEME.size() && url[FILE_SCHEME.size()] == '/') return 0;
        detail = "A file URL needs an absolute path";
        return FAULT_INVALID_ARGUMENTS;
    }
    if (has_scheme(url, NETCAT_SCHEME)) {
        std::string host;
        int port = 0;
        if (netcat_address(url, host, port)) return 0;
        detail = "A netcat URL needs a host and a port";
        return FAULT_INVALID_ARGUMENTS;
    }
    size_t colon = url.find("://");
    detail = colon == std::string::npos ? "\"URL\" is no URL" : url.substr(0, colon);
    return colon == std::string::npos ? FAULT_INVALID_ARGUMENTS : FAULT_PROTOCOL;
}

void fetch_run(Fetch& fetch) {
    Fd from = has_scheme(fetch.url, FILE_SCHEME) ? open_local(fetch) : open_netcat(fetch);
    if (from.get() < 0) return;
    Fd to(open(fetch.file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (to.get() < 0) return fail(fetch, FAULT_RESOURCES, strerror(errno));
    uint64_t size = 0;
    std::string digest;
    if (copy(fetch, from.get(), to.get(), size, digest)) verify(fetch, size, digest);
    if (fetch.code != 0) unlink(fetch.file.c_str());
}

}  // namespace obxd
