#include "net/tls.hpp"

#include <errno.h>
#include <mbedtls/ctr_drbg.h>
#include <mbedtls/entropy.h>
#include <mbedtls/error.h>
#include <mbedtls/net_sockets.h>
#include <mbedtls/oid.h>
#include <mbedtls/pk.h>
#include <mbedtls/ssl.h>
#include <mbedtls/version.h>
#if MBEDTLS_VERSION_MAJOR >= 3
#include <psa/crypto.h>
#endif
#include <sys/socket.h>

#include <algorithm>

namespace obxd {

struct TlsServer {
    mbedtls_entropy_context entropy;
    mbedtls_ctr_drbg_context random;
    mbedtls_x509_crt cert;
    mbedtls_pk_context key;
    mbedtls_ssl_config config;
};

struct TlsLink {
    mbedtls_ssl_context ssl;
    int fd;
    size_t repeat;     ///< size of the write that the socket did not take yet
    size_t turn;       ///< bytes that may still be received in this call
    size_t fruitless;  ///< bytes that were received since the last that the peer's messages are made of
};

namespace {

// The library goes on by itself over alerts and other records that bring nothing.
constexpr size_t BYTES_PER_TURN = size_t{32} * 1024;
constexpr size_t MAX_FRUITLESS = size_t{96} * 1024;  // a handshake's, or between two records of content

int send_bytes(void* context, const unsigned char* data, size_t size) {
    ssize_t sent = send(static_cast<TlsLink*>(context)->fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) return static_cast<int>(sent);
    if (errno == EPIPE || errno == ECONNRESET) return MBEDTLS_ERR_NET_CONN_RESET;
    return errno == EAGAIN || errno == EINTR ? MBEDTLS_ERR_SSL_WANT_WRITE : MBEDTLS_ERR_SSL_INTERNAL_ERROR;
}

int receive_bytes(void* context, unsigned char* data, size_t size) {
    auto& link = *static_cast<TlsLink*>(context);
    if (link.fruitless >= MAX_FRUITLESS) return MBEDTLS_ERR_SSL_INTERNAL_ERROR;
    if (link.turn == 0) return MBEDTLS_ERR_SSL_WANT_READ;
    ssize_t got = recv(link.fd, data, std::min(size, link.turn), MSG_DONTWAIT);
    if (got >= 0) {
        link.turn -= static_cast<size_t>(got);
        link.fruitless += static_cast<size_t>(got);
        return static_cast<int>(got);
    }
    return errno == EAGAIN || errno == EINTR ? MBEDTLS_ERR_SSL_WANT_READ : MBEDTLS_ERR_SSL_INTERNAL_ERROR;
}

bool wants_more(int code) {
    return code == MBEDTLS_ERR_SSL_WANT_READ || code == MBEDTLS_ERR_SSL_WANT_WRITE;
}

std::string reason(int code) {
    char text[160];
    mbedtls_strerror(code, text, sizeof text);
    return text;
}

ssize_t give(int code) {
    if (code == MBEDTLS_ERR_SSL_PEER_CLOSE_NOTIFY || code == 0) return 0;
    errno = wants_more(code) ? EAGAIN : code == MBEDTLS_ERR_NET_CONN_RESET ? ECONNRESET : EPROTO;
    return -1;
}

// What differs between 2.28 and 3: there TLS 1.3 works through PSA, and what is done with a private key takes
// random numbers.
#if MBEDTLS_VERSION_MAJOR >= 3
bool prepare_crypto() {
    return psa_crypto_init() == PSA_SUCCESS;
}

void require_version_1_2(mbedtls_ssl_config& config) {
    mbedtls_ssl_conf_min_tls_version(&config, MBEDTLS_SSL_VERSION_TLS1_2);
}

int parse_key(TlsServer& server, const char* file) {
    return mbedtls_pk_parse_keyfile(&server.key, file, nullptr, mbedtls_ctr_drbg_random, &server.random);
}

bool keys_fit(TlsServer& server) {
    return mbedtls_pk_check_pair(&server.cert.pk, &server.key, mbedtls_ctr_drbg_random, &server.random) == 0;
}
#else
bool prepare_crypto() {
    return true;
}

void require_version_1_2(mbedtls_ssl_config& config) {
    mbedtls_ssl_conf_min_version(&config, MBEDTLS_SSL_MAJOR_VERSION_3, MBEDTLS_SSL_MINOR_VERSION_3);
}

int parse_key(TlsServer& server, const char* file) {
    return mbedtls_pk_parse_keyfile(&server.key, file, nullptr);
}

bool keys_fit(TlsServer& server) {
    return mbedtls_pk_check_pair(&server.cert.pk, &server.key) == 0;
}
#endif

// With others every handshake would fail.
bool for_servers(const mbedtls_x509_crt& cert) {
    if (mbedtls_x509_crt_check_key_usage(&cert, MBEDTLS_X509_KU_DIGITAL_SIGNATURE) != 0 &&
        mbedtls_x509_crt_check_key_usage(&cert, MBEDTLS_X509_KU_KEY_ENCIPHERMENT) != 0)
        return false;
    return mbedtls_x509_crt_check_extended_key_usage(&cert, MBEDTLS_OID_SERVER_AUTH,
                                                     MBEDTLS_OID_SIZE(MBEDTLS_OID_SERVER_AUTH)) == 0;
}

bool configure(TlsServer& server, std::string& error) {
    int code = mbedtls_ssl_config_defaults(&server.config, MBEDTLS_SSL_IS_SERVER,
                                           MBEDTLS_SSL_TRANSPORT_STREAM, MBEDTLS_SSL_PRESET_DEFAULT);
    if (code == 0) code = mbedtls_ssl_conf_own_cert(&server.config, &server.cert, &server.key);
    if (code != 0) {
        error = "TLS set-up: " + reason(code);
        return false;
    }
    require_version_1_2(server.config);
    mbedtls_ssl_conf_rng(&server.config, mbedtls_ctr_drbg_random, &server.random);
    return true;
}

}  // namespace

void tls_server_free(TlsServer* server) {
    if (!server) return;
    mbedtls_ssl_config_free(&server->config);
    mbedtls_pk_free(&server->key);
    mbedtls_x509_crt_free(&server->cert);
    mbedtls_ctr_drbg_free(&server->random);
    mbedtls_entropy_free(&server->entropy);
    delete server;
}

void tls_link_free(TlsLink* link) {
    if (!link) return;
    mbedtls_ssl_free(&link->ssl);
    delete link;
}

TlsServerPtr tls_server_load(const std::string& cert_file, const std::string& key_file, std::string& error) {
    TlsServerPtr server(new TlsServer);
    mbedtls_entropy_init(&server->entropy);
    mbedtls_ctr_drbg_init(&server->random);
    mbedtls_x509_crt_init(&server->cert);
    mbedtls_pk_init(&server->key);
    mbedtls_ssl_config_init(&server->config);
    int code = mbedtls_ctr_drbg_seed(&server->random, mbedtls_entropy_func, &server->entropy, nullptr, 0);
    if (code == 0 && !prepare_crypto()) code = MBEDTLS_ERR_CTR_DRBG_ENTROPY_SOURCE_FAILED;
    if (code != 0) {
        error = "TLS random numbers: " + reason(code);
        return nullptr;
    }
    code = mbedtls_x509_crt_parse_file(&server->cert, cert_file.c_str());
    if (code != 0) {
        error = cert_file + ": cannot load the certificate: " + (code < 0 ? reason(code) : "broken entry");
        return nullptr;
    }
    if (!for_servers(server->cert)) {
        error = cert_file + ": the certificate is not for a server";
        return nullptr;
    }
    code = parse_key(*server, key_file.c_str());
    if (code != 0) {
        error = key_file + ": cannot load the key: " + reason(code);
        return nullptr;
    }
    if (!keys_fit(*server)) {
        error = key_file + ": the key does not belong to the certificate " + cert_file;
        return nullptr;
    }
    if (!configure(*server, error)) return nullptr;
    return server;
}

TlsLinkPtr tls_link_new(TlsServer& server, int fd) {
    TlsLinkPtr link(new TlsLink{});
    link->fd = fd;
    mbedtls_ssl_init(&link->ssl);
    if (mbedtls_ssl_setup(&link->ssl, &server.config) != 0) return nullptr;
    mbedtls_ssl_set_bio(&link->ssl, link.get(), send_bytes, receive_bytes, nullptr);
    return link;
}

TlsStep tls_handshake(TlsLink& link) {
    link.turn = BYTES_PER_TURN;
    int code = mbedtls_ssl_handshake(&link.ssl);
    if (code == 0) return TlsStep::DONE;
    if (code == MBEDTLS_ERR_SSL_WANT_WRITE) return TlsStep::WANT_WRITE;
    return code == MBEDTLS_ERR_SSL_WANT_READ ? TlsStep::WANT_READ : TlsStep::FAILED;
}

ssize_t tls_read(TlsLink& link, void* data, size_t size) {
    link.turn = BYTES_PER_TURN;
    int code = mbedtls_ssl_read(&link.ssl, static_cast<unsigned char*>(data), size);
    if (code <= 0) return give(code);
    link.fruitless = 0;
    return code;
}

ssize_t tls_write(TlsLink& link, const void* data, size_t size) {
    size_t part = link.repeat ? link.repeat : std::min<size_t>(size, 16384);
    int code = mbedtls_ssl_write(&link.ssl, static_cast<const unsigned char*>(data), part);
    link.repeat = wants_more(code) ? part : 0;
    return code > 0 ? code : give(code);
}

void tls_close(TlsLink& link) {
    mbedtls_ssl_close_notify(&link.ssl);
}

}  // namespace obxd
