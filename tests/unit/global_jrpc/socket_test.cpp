// The small TCP server of file transfers, and the texts of socket errors.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <set>
#include <string>
#include <thread>

#include "ox_jrpcapi.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "ox_wait.hpp"
#include "scripted_daemon.hpp"

namespace {

using Socket = ox_owner<ox_socket, ox_socket_free>;

struct sockaddr_in loopback(int port = 0) {
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

/// A listener on a free port of the loopback interface, stored in `port`.
Socket listener(int* port) {
    Socket server(ox_socket_new(OX_SOCKET_TCP));
    struct sockaddr_in address = loopback();
    EXPECT_EQ(ox_socket_bind(server, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(ox_socket_listen(server, 1), 0);
    const auto* bound = reinterpret_cast<const struct sockaddr_in*>(ox_socket_get_addr(server));
    EXPECT_EQ(ox_socket_addrsize(server), sizeof(address));
    *port = ntohs(bound->sin_port);
    return server;
}

Fd caller(int port) {
    Fd fd(socket(AF_INET, SOCK_STREAM, 0));
    struct sockaddr_in address = loopback(port);
    EXPECT_EQ(connect(fd.get(), reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    return fd;
}

TEST(Socket, NullAndUnknownKinds) {
    EXPECT_EQ(ox_socket_fd(nullptr), -1);
    EXPECT_EQ(ox_socket_type(nullptr), 0);
    EXPECT_EQ(ox_socket_get_addr(nullptr), nullptr);
    EXPECT_EQ(ox_socket_addrsize(nullptr), 0U);
    EXPECT_EQ(ox_socket_new(0), nullptr);
    EXPECT_EQ(ox_socket_new(3), nullptr);
    ox_socket_free(nullptr);
    Socket local(ox_socket_new(OX_SOCKET_LOCAL));
    EXPECT_EQ(ox_socket_type(local), OX_SOCKET_LOCAL);
    EXPECT_GE(ox_socket_fd(local), 0);
    EXPECT_EQ(ox_socket_get_addr(local), nullptr);
}

TEST(Socket, ServesOneConnection) {
    int port = 0;
    Socket server = listener(&port);
    EXPECT_EQ(ox_socket_wait(server, 1, 20), 0);
    std::string data(3 << 20, 'z');
    std::string received;
    std::thread reader([&] {
        Fd fd = caller(port);
        char block[65536];
        for (ssize_t count; (count = read(fd.get(), block, sizeof(block))) > 0;) {
            received.append(block, static_cast<size_t>(count));
        }
    });
    EXPECT_GT(ox_socket_wait(server, 1, 5000), 0);
    {
        Socket client(ox_socket_accept(server));
        ASSERT_NE(client.get(), nullptr);
        EXPECT_EQ(ox_socket_type(client), OX_SOCKET_TCP);
        EXPECT_EQ(ox_socket_send(client, data.data(), data.size()), static_cast<ssize_t>(data.size()));
    }
    reader.join();
    EXPECT_EQ(received, data);
}

TEST(Socket, SendEndsWhenThePeerIsGone) {
    int port = 0;
    Socket server = listener(&port);
    Fd fd = caller(port);
    Socket client(ox_socket_accept(server));
    struct linger hard = {1, 0};
    setsockopt(fd.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
    fd.reset();
    std::string data(8 << 20, 'z');
    EXPECT_LT(ox_socket_send(client, data.data(), data.size()), static_cast<ssize_t>(data.size()));
}

TEST(Socket, BindFailuresAreErrors) {
    int port = 0;
    Socket server = listener(&port);
    Socket second(ox_socket_new(OX_SOCKET_TCP));
    struct sockaddr_in address = loopback(port);
    EXPECT_EQ(ox_socket_bind(second, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)),
              OX_SOCKET_ESYSTEM);
    EXPECT_STREQ(ox_socket_strerror(OX_SOCKET_ESYSTEM), "Address already in use");
}

TEST(Socket, ConnectionsOverTcpKnowTheirAddress) {
    int port = 0;
    Socket server = listener(&port);
    for (const char* host : {"127.0.0.1", "localhost"}) {
        ox_jrpcapi* api = ox_jrpcapi_init();
        std::string text = std::string("tcp://") + host + ":" + std::to_string(port);
        ox_jrpcapi_set_destination(api, nullptr, text.c_str(), OX_SOCKET_LOCAL);
        ASSERT_EQ(ox_jrpcapi_connect(api), 0)
            << text << ": " << ox_socket_strerror(ox_jrpcapi_get_socket_err(api));
        Socket client(ox_socket_accept(server));
        EXPECT_EQ(ox_socket_type(ox_jrpcapi_socket(api)), OX_SOCKET_TCP);
        const struct sockaddr* own = ox_socket_get_addr(ox_jrpcapi_socket(api));
        ASSERT_NE(own, nullptr);
        EXPECT_EQ(own->sa_family, AF_INET);
        EXPECT_EQ(ox_socket_addrsize(ox_jrpcapi_socket(api)), sizeof(struct sockaddr_in));
        ox_jrpcapi_deinit(api);
    }
    ox_jrpcapi* api = ox_jrpcapi_init();  // a text without scheme is read by its kind
    ox_jrpcapi_set_destination(api, ("127.0.0.1:" + std::to_string(port)).c_str(), "/none", OX_SOCKET_TCP);
    EXPECT_EQ(ox_jrpcapi_connect(api), 0);
    ox_jrpcapi_deinit(api);
}

TEST(Socket, ConnectsToIpv6) {
    Fd server(socket(AF_INET6, SOCK_STREAM, 0));
    struct sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof(address);
    if (bind(server.get(), reinterpret_cast<struct sockaddr*>(&address), size) != 0)
        GTEST_SKIP() << "no IPv6";
    ASSERT_EQ(listen(server.get(), 1), 0);
    getsockname(server.get(), reinterpret_cast<struct sockaddr*>(&address), &size);
    ox_jrpcapi* api = ox_jrpcapi_init();
    std::string text = "tcp://[::1]:" + std::to_string(ntohs(address.sin6_port));
    ox_jrpcapi_set_destination(api, nullptr, text.c_str(), OX_SOCKET_LOCAL);
    EXPECT_EQ(ox_jrpcapi_connect(api), 0);
    ox_jrpcapi_deinit(api);
}

TEST(Socket, ConnectingHasABound) {
    TempDir dir;
    std::string path = dir / "full";
    Fd server(socket(AF_UNIX, SOCK_STREAM, 0));
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(server.get(), reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(server.get(), 0), 0);
    Fd first(socket(AF_UNIX, SOCK_STREAM, 0));  // fills the backlog
    ASSERT_EQ(connect(first.get(), reinterpret_cast<struct sockaddr*>(&address), sizeof(address)), 0);
    ox_jrpcapi* api = ox_jrpcapi_init();
    ox_jrpcapi_set_destination(api, nullptr, path.c_str(), OX_SOCKET_LOCAL);
    ox_jrpcapi_set_timeout(api, 100);
    long long begin = ox_wait_now_ms();
    EXPECT_EQ(ox_jrpcapi_connect(api), OX_SOCKET_ETIMEOUT);
    EXPECT_LT(ox_wait_now_ms() - begin, 4000);
    ox_jrpcapi_set_timeout(api, 5000);
    std::thread later([&] {
        usleep(50000);
        close(accept(server.get(), nullptr, nullptr));
    });
    EXPECT_EQ(ox_jrpcapi_connect(api), 0);  // once there is room
    later.join();
    ox_jrpcapi_deinit(api);
}

TEST(Socket, EveryErrorHasItsText) {
    std::set<std::string> texts;
    for (int code : {0, -1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -11, -13})
        texts.insert(ox_socket_strerror(code));
    EXPECT_EQ(texts.size(), 13U);
    EXPECT_STREQ(ox_socket_strerror(-12), "Unknown socket error");
    EXPECT_STREQ(ox_socket_strerror(1), "Unknown socket error");
}

}  // namespace
