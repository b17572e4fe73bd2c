#include "net/tls.hpp"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mbedtls/ctr_drbg.h>
#include <mbedtls/entropy.h>
#include <mbedtls/net_sockets.h>
#include <mbedtls/ssl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>

#include "owners.hpp"
#include "test_certificate.hpp"

namespace {

using namespace obxd;

constexpr unsigned char USER_CANCELED = 90;  // a warning that receivers pass over

int client_send(void* fd, const unsigned char* data, size_t size) {
    ssize_t sent = send(*static_cast<int*>(fd), data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) return static_cast<int>(sent);
    return errno == EAGAIN ? MBEDTLS_ERR_SSL_WANT_WRITE : MBEDTLS_ERR_NET_CONN_RESET;
}

int client_receive(void* fd, unsigned char* data, size_t size) {
    ssize_t got = recv(*static_cast<int*>(fd), data, size, MSG_DONTWAIT);
    if (got >= 0) return static_cast<int>(got);
    return errno == EAGAIN ? MBEDTLS_ERR_SSL_WANT_READ : MBEDTLS_ERR_NET_CONN_RESET;
}

/// A client of the library's own, and the daemon's link to it.
struct TlsPair : testing::Test {
    std::string directory = testing::TempDir() + "/tls-pair";
    obxd::Fd near, far;
    int client_fd = -1;
    TlsServerPtr server;
    TlsLinkPtr link;
    mbedtls_ssl_context ssl;
    mbedtls_ssl_config config;
    mbedtls_entropy_context entropy;
    mbedtls_ctr_drbg_context random;

    void SetUp() override {
        std::filesystem::create_directories(directory);
        std::ofstream(directory + "/cert") << TEST_CERTIFICATE;
        std::ofstream(directory + "/key") << TEST_KEY;
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        near.reset(ends[0]);
        far.reset(ends[1]);
        client_fd = ends[1];
        std::string error;
        server = tls_server_load(directory + "/cert", directory + "/key", error);
        ASSERT_TRUE(server) << error;
        link = tls_link_new(*server, near.get());
        mbedtls_ssl_init(&ssl);
        mbedtls_ssl_config_init(&config);
        mbedtls_entropy_init(&entropy);
        mbedtls_ctr_drbg_init(&random);
        mbedtls_ctr_drbg_seed(&random, mbedtls_entropy_func, &entropy, nullptr, 0);
        mbedtls_ssl_config_defaults(&config, MBEDTLS_SSL_IS_CLIENT, MBEDTLS_SSL_TRANSPORT_STREAM,
                                    MBEDTLS_SSL_PRESET_DEFAULT);
        mbedtls_ssl_conf_authmode(&config, MBEDTLS_SSL_VERIFY_NONE);
        mbedtls_ssl_conf_rng(&config, mbedtls_ctr_drbg_random, &random);
        ASSERT_EQ(mbedtls_ssl_setup(&ssl, &config), 0);
        mbedtls_ssl_set_bio(&ssl, &client_fd, client_send, client_receive, nullptr);
    }

    void TearDown() override {
        mbedtls_ssl_free(&ssl);
        mbedtls_ssl_config_free(&config);
        mbedtls_ctr_drbg_free(&random);
        mbedtls_entropy_free(&entropy);
        std::filesystem::remove_all(directory);
    }

    void shake_hands() {
        TlsStep step = TlsStep::WANT_READ;
        for (int i = 0; i < 100 && step != TlsStep::DONE; i++) {
            mbedtls_ssl_handshake(&ssl);
            step = tls_handshake(*link);
            ASSERT_NE(step, TlsStep::FAILED);
        }
        ASSERT_EQ(step, TlsStep::DONE);
        ASSERT_EQ(mbedtls_ssl_handshake(&ssl), 0);
    }

    size_t unread() {
        int count = 0;
        ioctl(near.get(), FIONREAD, &count);
        return static_cast<size_t>(count);
    }

    /// Fills the socket with warnings; false when it took none.
    bool warn() {
        size_t before = unread();
        for (int i = 0; i < 100000; i++) {
            if (mbedtls_ssl_send_alert_message(&ssl, MBEDTLS_SSL_ALERT_LEVEL_WARNING, USER_CANCELED) != 0)
                break;
        }
        return unread() > before;
    }
};

TEST_F(TlsPair, WarningsInTheHandshakeAreTakenInPieces) {
    mbedtls_ssl_handshake(&ssl);  // the client's hello
    ASSERT_EQ(tls_handshake(*link), TlsStep::WANT_READ);
    const unsigned char alert[] = {0x15, 3, 3, 0, 2, 1, USER_CANCELED};
    size_t total = 0;
    TlsStep step = TlsStep::WANT_READ;
    while (step == TlsStep::WANT_READ && total < size_t{1024} * 1024) {
        while (send(client_fd, alert, sizeof alert, MSG_DONTWAIT) == static_cast<ssize_t>(sizeof alert)) {
        }
        size_t before = unread();
        step = tls_handshake(*link);
        EXPECT_LE(before - unread(), size_t{32} * 1024);
        total += before - unread();
    }
    EXPECT_EQ(step, TlsStep::FAILED);
    EXPECT_LE(total, size_t{128} * 1024);
}

TEST_F(TlsPair, WarningsBehindTheHandshakeAreTakenInPieces) {
    shake_hands();
    size_t total = 0;
    ssize_t got = -1;
    char data[100];
    for (errno = EAGAIN; got < 0 && errno == EAGAIN && total < size_t{1024} * 1024;) {
        ASSERT_TRUE(warn() || unread() > 0);
        size_t before = unread();
        got = tls_read(*link, data, sizeof data);
        int why = errno;
        EXPECT_LE(before - unread(), size_t{32} * 1024);
        total += before - unread();
        errno = why;
    }
    EXPECT_EQ(got, -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_LE(total, size_t{128} * 1024);
}

TEST_F(TlsPair, ContentBetweenWarningsLetsTheStreamLive) {
    shake_hands();
    char data[100];
    for (int round = 0; round < 100; round++) {
        for (int i = 0; i < 100; i++)
            mbedtls_ssl_send_alert_message(&ssl, MBEDTLS_SSL_ALERT_LEVEL_WARNING, USER_CANCELED);
        ASSERT_EQ(mbedtls_ssl_write(&ssl, reinterpret_cast<const unsigned char*>("x"), 1), 1);
        ssize_t got = -1;
        for (int i = 0; i < 10 && got < 0; i++) got = tls_read(*link, data, sizeof data);
        ASSERT_EQ(got, 1) << round;
    }
}

}  // namespace
