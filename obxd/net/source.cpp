#include "net/source.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace obxd {

namespace {

// One host has as many IPv6 addresses as it likes: its network stands for it.
constexpr size_t NETWORK_BYTES = 8;

std::string ipv4_text(const void* bytes) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, bytes, text, sizeof text);
    return text;
}

std::string ipv6_text(in6_addr address) {
    if (IN6_IS_ADDR_V4MAPPED(&address)) return ipv4_text(&address.s6_addr[12]);
    memset(&address.s6_addr[NETWORK_BYTES], 0, sizeof address.s6_addr - NETWORK_BYTES);
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, &address, text, sizeof text);
    return std::string(text) + "/64";
}

std::string address_text(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET6)
        return ipv6_text(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_addr);
    return ipv4_text(&reinterpret_cast<const sockaddr_in*>(&address)->sin_addr);
}

}  // namespace

void source_find(Connection& c, bool local, const sockaddr_storage& peer) {
    ucred owner{};
    socklen_t size = sizeof owner;
    c.local = local && getsockopt(c.fd, SOL_SOCKET, SO_PEERCRED, &owner, &size) == 0;
    if (!c.local) {
        c.source = address_text(peer);
        return;
    }
    c.uid = owner.uid;
    c.root = owner.uid == 0 || owner.uid == geteuid();
    c.source = "user " + std::to_string(owner.uid);
}

}  // namespace obxd
