#include "device/diagnostics.hpp"

#include <arpa/inet.h>
#include <errno.h>
#include <netdb.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <vector>

#include "owners.hpp"

namespace obxd {

namespace {

constexpr int MAX_PINGS = 100;
constexpr int MAX_TIMEOUT_MS = 10000;

int64_t now_us() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

struct Lookup {
    std::vector<sockaddr_storage> addresses;
    std::vector<std::string> texts;
    const char* error = nullptr;
    int64_t took_us = 0;
};

Lookup look_up(const std::string& host, int family, int port) {
    Lookup lookup;
    addrinfo hints{};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    int64_t start = now_us();
    int code = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    lookup.took_us = now_us() - start;
    if (code != 0) {
        lookup.error = gai_strerror(code);
        return lookup;
    }
    for (const addrinfo* info = list; info; info = info->ai_next) {
        sockaddr_storage address{};
        memcpy(&address, info->ai_addr, info->ai_addrlen);
        char text[NI_MAXHOST];
        if (getnameinfo(info->ai_addr, info->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) != 0)
            continue;
        if (std::find(lookup.texts.begin(), lookup.texts.end(), text) != lookup.texts.end()) continue;
        lookup.addresses.push_back(address);
        lookup.texts.emplace_back(text);
    }
    freeaddrinfo(list);
    return lookup;
}

bool is_loopback(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET)
        return (ntohl(reinterpret_cast<const sockaddr_in*>(&address)->sin_addr.s_addr) >> 24) == 127;
    return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr);
}

bool wait_for(int fd, short events, int64_t timeout_us) {
    pollfd entry{fd, events, 0};
    int64_t deadline = now_us() + timeout_us;
    for (;;) {
        int64_t left = std::max<int64_t>(deadline - now_us(), 0);
        int count = poll(&entry, 1, static_cast<int>((left + 999) / 1000));
        if (count > 0) return true;
        if (count == 0 || errno != EINTR) return false;
    }
}

struct Ping {
    // What to do.
    std::string host;
    int family = AF_UNSPEC;
    int count = 3;
    int timeout_ms = 1000;
    size_t size = 56;
    // How it went.
    const char* status = "Complete";
    bool refused = false;
    std::string address;
    int answered = 0;
    int64_t least_us = 0, most_us = 0, sum_us = 0;
    std::string times;  ///< of the answers, in milliseconds
};

json_int_t milliseconds(int64_t us) {
    return (us + 500) / 1000;
}

Fd echo_socket(int family) {
    int protocol = family == AF_INET ? static_cast<int>(IPPROTO_ICMP) : static_cast<int>(IPPROTO_ICMPV6);
    Fd fd(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, protocol));
    if (fd.get() < 0) fd.reset(socket(family, SOCK_RAW | SOCK_CLOEXEC, protocol));
    return fd;
}

uint16_t checksum(const std::vector<unsigned char>& data) {
    uint32_t sum = 0;
    for (size_t i = 0; i < data.size(); i += 2)
        sum += static_cast<uint32_t>(data[i] << 8 | (i + 1 < data.size() ? data[i + 1] : 0));
    while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

std::vector<unsigned char> echo_request(int family, uint16_t sequence, size_t size) {
    std::vector<unsigned char> packet(8 + size, 0x5a);
    std::fill(packet.begin(), packet.begin() + 8, 0);
    packet[0] = family == AF_INET ? static_cast<unsigned char>(ICMP_ECHO)
                                  : static_cast<unsigned char>(ICMP6_ECHO_REQUEST);
    packet[4] = 0x0b;
    packet[5] = 0x5d;
    packet[6] = static_cast<unsigned char>(sequence >> 8);
    packet[7] = static_cast<unsigned char>(sequence);
    if (family != AF_INET) return packet;
    uint16_t sum = checksum(packet);
    packet[2] = static_cast<unsigned char>(sum >> 8);
    packet[3] = static_cast<unsigned char>(sum);
    return packet;
}

// True for the reply with this sequence number; a raw socket shows the IPv4 header and other traffic too.
bool is_reply(int family, const unsigned char* data, size_t size, uint16_t sequence) {
    if (family == AF_INET && size > 20 && data[0] >> 4 == 4 && data[0] != ICMP_ECHOREPLY) {
        size_t header = static_cast<size_t>(data[0] & 15) * 4;
        if (size < header) return false;
        data += header;
        size -= header;
    }
    int reply = family == AF_INET ? static_cast<int>(ICMP_ECHOREPLY) : static_cast<int>(ICMP6_ECHO_REPLY);
    return size >= 8 && data[0] == reply && (data[6] << 8 | data[7]) == sequence;
}

bool ping_once(int fd, const sockaddr_storage& to, const Ping& ping, uint16_t sequence, int64_t& took_us) {
    auto packet = echo_request(to.ss_family, sequence, ping.size);
    socklen_t length = to.ss_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    int64_t start = now_us();
    int64_t end = start + static_cast<int64_t>(ping.timeout_ms) * 1000;
    if (sendto(fd, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&to), length) < 0)
        return false;
    static thread_local unsigned char buffer[66000];
    while (now_us() < end && wait_for(fd, POLLIN, end - now_us())) {
        ssize_t got = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (got > 0 && is_reply(to.ss_family, buffer, static_cast<size_t>(got), sequence)) {
            took_us = now_us() - start;
            return true;
        }
    }
    return false;
}

void run_ping(Ping& ping) {
    Lookup lookup = look_up(ping.host, ping.family, 0);
    if (lookup.addresses.empty()) {
        ping.status = "Error_CannotResolveHostName";
        return;
    }
    ping.address = lookup.texts[0];
    if (!is_loopback(lookup.addresses[0])) {
        ping.refused = true;
        return;
    }
    Fd fd = echo_socket(lookup.addresses[0].ss_family);
    if (fd.get() < 0) {
        ping.status = "Error_Internal";
        return;
    }
    for (int i = 0; i < ping.count; i++) {
        int64_t took = 0;
        if (!ping_once(fd.get(), lookup.addresses[0], ping, static_cast<uint16_t>(i + 1), took)) continue;
        ping.least_us = ping.answered == 0 ? took : std::min(ping.least_us, took);
        ping.most_us = std::max(ping.most_us, took);
        ping.sum_us += took;
        ping.times += (ping.answered ? "," : "") + std::to_string(milliseconds(took));
        ping.answered++;
    }
}

json_t* ping_outputs(const Ping& ping) {
    int64_t mean = ping.answered ? ping.sum_us / ping.answered : 0;
    bool sent = strcmp(ping.status, "Complete") == 0;
    return json_pack("{s:s, s:s, s:i, s:i, s:I, s:I, s:I, s:I, s:I, s:I}", "Status", ping.status,
                     "IPAddressUsed", ping.address.c_str(), "SuccessCount", ping.answered, "FailureCount",
                     sent ? ping.count - ping.answered : 0, "AverageResponseTime", milliseconds(mean),
                     "MinimumResponseTime", milliseconds(ping.least_us), "MaximumResponseTime",
                     milliseconds(ping.most_us), "AverageResponseTimeDetailed", static_cast<json_int_t>(mean),
                     "MinimumResponseTimeDetailed", static_cast<json_int_t>(ping.least_us),
                     "MaximumResponseTimeDetailed", static_cast<json_int_t>(ping.most_us));
}

int family_of(const CallPtr& call) {
    std::string version = call_text(call, "ProtocolVersion", "Any");
    return version == "IPv4" ? AF_INET : version == "IPv6" ? AF_INET6 : AF_UNSPEC;
}

int timeout_of(const CallPtr& call) {
    return static_cast<int>(std::clamp<int64_t>(call_number(call, "Timeout", 1000), 1, MAX_TIMEOUT_MS));
}

struct Reach {
    Lookup lookup;
    const char* status = "Complete";
    std::string address;
    int64_t took_us = 0;
};

void run_connect(Reach& reach, const std::string& host, int family, int port, int timeout_ms) {
    reach.lookup = look_up(host, family, port);
    if (reach.lookup.addresses.empty()) {
        reach.status = "Error_CannotResolveHostName";
        return;
    }
    const sockaddr_storage& to = reach.lookup.addresses[0];
    reach.address = reach.lookup.texts[0];
    Fd fd(socket(to.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    socklen_t length = to.ss_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    int64_t start = now_us();
    int code = connect(fd.get(), reinterpret_cast<const sockaddr*>(&to), length) == 0 ? 0 : errno;
    if (code == EINPROGRESS) {
        code = ETIMEDOUT;
        socklen_t size = sizeof code;
        if (wait_for(fd.get(), POLLOUT, static_cast<int64_t>(timeout_ms) * 1000))
            getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &code, &size);
    }
    reach.took_us = now_us() - start;
    if (code == ECONNREFUSED)
        reach.status = "Error_Refused";
    else if (code == ETIMEDOUT)
        reach.status = "Error_Timeout";
    else if (code != 0)
        reach.status = "Error_NoRouteToHost";
}

json_t* address_list(const Lookup& lookup) {
    std::string text;
    for (const std::string& address : lookup.texts) text += (text.empty() ? "" : ",") + address;
    return json_string(text.c_str());
}

// The loopback is one hop away.
json_t* trace_outputs(const Ping& ping) {
    bool there = ping.answered > 0;
    bool sent = strcmp(ping.status, "Complete") == 0;
    json_t* outputs = json_pack(
        "{s:s, s:s, s:I}", "Status", there || !sent ? ping.status : "Error_NoRouteToHost", "IPAddressUsed",
        ping.address.c_str(), "ResponseTime", milliseconds(there ? ping.sum_us / ping.answered : 0));
    if (!there) return outputs;
    json_object_set_new(outputs, "RouteHops.1.Host", json_string(ping.host.c_str()));
    json_object_set_new(outputs, "RouteHops.1.HostAddress", json_string(ping.address.c_str()));
    json_object_set_new(outputs, "RouteHops.1.ErrorCode", json_integer(0));
    json_object_set_new(outputs, "RouteHops.1.RTTimes", json_string(ping.times.c_str()));
    return outputs;
}

void ping_job(const CallPtr& call, const char* count_name, json_t* (*outputs)(const Ping&)) {
    auto ping = std::make_shared<Ping>();
    ping->host = call_text(call, "Host", "");
    ping->family = family_of(call);
    ping->count = static_cast<int>(std::clamp<int64_t>(call_number(call, count_name, 3), 1, MAX_PINGS));
    ping->timeout_ms = timeout_of(call);
    ping->size = static_cast<size_t>(std::clamp<int64_t>(call_number(call, "DataBlockSize", 56), 1, 65000));
    if (ping->host.empty()) return call_fail(call, FAULT_INVALID_ARGUMENTS, "\"Host\" is missing");
    call_job(
        call, [ping] { run_ping(*ping); },
        [call, ping, outputs] {
            if (!ping->refused) return call_finish(call, outputs(*ping));
            call_fail(call, FAULT_REQUEST_DENIED, ping->address + " is no loopback address");
        });
}

}  // namespace

void method_ping(const CallPtr& call) {
    ping_job(call, "NumberOfRepetitions", ping_outputs);
}

void method_trace_route(const CallPtr& call) {
    ping_job(call, "NumberOfTries", trace_outputs);
}

void method_lookup(const CallPtr& call) {
    std::string host = call_text(call, "HostName", "");
    if (host.empty()) return call_fail(call, FAULT_INVALID_ARGUMENTS, "\"HostName\" is missing");
    auto lookup = std::make_shared<Lookup>();
    call_job(
        call, [lookup, host] { *lookup = look_up(host, AF_UNSPEC, 0); },
        [call, lookup] {
            bool found = !lookup->texts.empty();
            call_finish(call, json_pack("{s:s, s:i, s:o, s:I}", "Status",
                                        found ? "Complete" : "Error_CannotResolveHostName", "SuccessCount",
                                        found ? 1 : 0, "IPAddresses", address_list(*lookup), "ResponseTime",
                                        milliseconds(lookup->took_us)));
        });
}

void method_connect(const CallPtr& call) {
    std::string host = call_text(call, "Host", "");
    int64_t port = call_number(call, "Port", 0);
    if (host.empty() || port < 1 || port > 65535)
        return call_fail(call, FAULT_INVALID_ARGUMENTS, "\"Host\" and \"Port\" are needed");
    auto reach = std::make_shared<Reach>();
    call_job(
        call,
        [reach, host, family = family_of(call), port, timeout = timeout_of(call)] {
            run_connect(*reach, host, family, static_cast<int>(port), timeout);
        },
        [call, reach] {
            call_finish(call,
                        json_pack("{s:s, s:s, s:I}", "Status", reach->status, "IPAddressUsed",
                                  reach->address.c_str(), "ResponseTime", milliseconds(reach->took_us)));
        });
}

}  // namespace obxd
