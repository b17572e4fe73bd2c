#include "net/source.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "net/listener.hpp"
#include "owners.hpp"

namespace {

using namespace obxd;

sockaddr_storage ipv6(const char* text) {
    sockaddr_storage storage{};
    auto& address = reinterpret_cast<sockaddr_in6&>(storage);
    address.sin6_family = AF_INET6;
    EXPECT_EQ(inet_pton(AF_INET6, text, &address.sin6_addr), 1) << text;
    return storage;
}

std::string source_of(const sockaddr_storage& peer) {
    Connection c;
    source_find(c, false, peer);
    EXPECT_FALSE(c.local || c.root);
    return c.source;
}

TEST(Source, OfIPv6IsTheNetwork) {
    EXPECT_EQ(source_of(ipv6("2001:db8:1:2:3:4:5:6")), "2001:db8:1:2::/64");
    EXPECT_EQ(source_of(ipv6("2001:db8:1:2::1")), "2001:db8:1:2::/64");
    EXPECT_EQ(source_of(ipv6("::ffff:192.0.2.7")), "192.0.2.7");
}

TEST(Source, OfALocalSocketIsTheUser) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    obxd::Fd far(pair[1]);
    Connection c;
    c.fd = pair[0];
    source_find(c, true, {});
    EXPECT_TRUE(c.local && c.root);
    EXPECT_EQ(c.uid, geteuid());
    EXPECT_EQ(c.source, "user " + std::to_string(geteuid()));
}

/// Or it would be taken for local root's, which no source holds up.
TEST(Source, OfWhoBreaksOffBeforeItIsAcceptedIsItsAddress) {
    int port = 0;
    std::string error;
    obxd::Fd listener = listen_tcp("127.0.0.1", port, error);
    ASSERT_GE(listener.get(), 0) << error;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    obxd::Fd client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    linger at_once{1, 0};
    setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    client.reset();

    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    Connection c;
    c.fd = accept4(listener.get(), reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
    ASSERT_GE(c.fd, 0);
    ASSERT_NE(getpeername(c.fd, reinterpret_cast<sockaddr*>(&address), &size), 0);
    source_find(c, false, peer);
    EXPECT_EQ(c.source, "127.0.0.1");
}

}  // namespace
