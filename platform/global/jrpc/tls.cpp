#include "tls.hpp"

#include <arpa/inet.h>
#include <errno.h>
#include <mbedtls/ctr_drbg.h>
#include <mbedtls/entropy.h>
#include <mbedtls/error.h>
#include <mbedtls/net_sockets.h>
#include <mbedtls/oid.h>
#include <mbedtls/ssl.h>
#include <mbedtls/version.h>
#if MBEDTLS_VERSION_MAJOR >= 3
#include <psa/crypto.h>
#endif
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "ox_memory.hpp"
#include "ox_wait.hpp"
#include "socket_error.hpp"
#include "wait.hpp"

struct TlsSession {
    mbedtls_ssl_context ssl;
    mbedtls_ssl_config config;
    mbedtls_entropy_context entropy;
    mbedtls_ctr_drbg_context random;
    int fd;
    const char* host;           ///< of the handshake under way, for texts
    unsigned char address[16];  ///< the host as an address
    size_t address_size;        ///< 0: the host is a name, or not checked
    size_t turn;                ///< bytes that may still be received in this call
    size_t fruitless;           ///< bytes received since the last that a message is made of
};

namespace {

// What differs between 2.28 and 3.
#if MBEDTLS_VERSION_MAJOR >= 3
constexpr int BAD_VERSION = MBEDTLS_ERR_SSL_BAD_PROTOCOL_VERSION;
bool prepare_crypto() {
    return psa_crypto_init() == PSA_SUCCESS;
}
void require_version_1_2(mbedtls_ssl_config* config) {
    mbedtls_ssl_conf_min_tls_version(config, MBEDTLS_SSL_VERSION_TLS1_2);
}
bool is_ticket(int rc) {
    return rc == MBEDTLS_ERR_SSL_RECEIVED_NEW_SESSION_TICKET;
}
#else
constexpr int BAD_VERSION = MBEDTLS_ERR_SSL_BAD_HS_PROTOCOL_VERSION;
bool prepare_crypto() {
    return true;
}
void require_version_1_2(mbedtls_ssl_config* config) {
    mbedtls_ssl_conf_min_version(config, MBEDTLS_SSL_MAJOR_VERSION_3, MBEDTLS_SSL_MINOR_VERSION_3);
}
bool is_ticket(int) {
    return false;
}
#endif

const char system_store[] = "/etc/ssl/certs/ca-certificates.crt";

/// The trusted certificates, read once: the system's store takes a while.
mbedtls_x509_crt trusted;
char* trusted_path = nullptr;

int failure(const char* text) {
    return socket_failure(OX_SOCKET_ETLS, text);
}

int send_bytes(void* context, const unsigned char* data, size_t size) {
    ssize_t count = send(static_cast<TlsSession*>(context)->fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count >= 0) return static_cast<int>(count);
    if (errno == EAGAIN || errno == EINTR) return MBEDTLS_ERR_SSL_WANT_WRITE;
    return errno == EPIPE || errno == ECONNRESET ? MBEDTLS_ERR_NET_CONN_RESET : MBEDTLS_ERR_NET_SEND_FAILED;
}

/// The library goes on by itself over alerts and other records that bring nothing.
enum { BYTES_PER_TURN = 32 << 10, FRUITLESS_MAX = 128 << 10 };

bool is_fruitless(const TlsSession* session) {
    return session->fruitless >= FRUITLESS_MAX;
}

int receive_bytes(void* context, unsigned char* data, size_t size) {
    auto* session = static_cast<TlsSession*>(context);
    if (is_fruitless(session)) return MBEDTLS_ERR_SSL_INTERNAL_ERROR;
    if (session->turn == 0) return MBEDTLS_ERR_SSL_WANT_READ;
    if (size > session->turn) size = session->turn;
    ssize_t count = recv(session->fd, data, size, MSG_DONTWAIT);
    if (count >= 0) {
        session->turn -= static_cast<size_t>(count);
        session->fruitless += static_cast<size_t>(count);
        return static_cast<int>(count);
    }
    if (errno == EAGAIN || errno == EINTR) return MBEDTLS_ERR_SSL_WANT_READ;
    return errno == EPIPE || errno == ECONNRESET ? MBEDTLS_ERR_NET_CONN_RESET : MBEDTLS_ERR_NET_RECV_FAILED;
}

/// Loads the file named by OBX_CA_FILE, or the system's store.
int load_trusted() {
    const char* path = getenv("OBX_CA_FILE");
    if (!path || !*path) path = system_store;
    if (trusted_path && strcmp(trusted_path, path) == 0) return OX_SOCKET_OK;
    if (trusted_path) mbedtls_x509_crt_free(&trusted);
    free(trusted_path);
    trusted_path = nullptr;
    mbedtls_x509_crt_init(&trusted);
    int rc = mbedtls_x509_crt_parse_file(&trusted, path);
    if (rc < 0 || trusted.version == 0) {
        char text[256];
        snprintf(text, sizeof(text), "no trusted certificates in %s", path);
        mbedtls_x509_crt_free(&trusted);
        return failure(text);
    }
    trusted_path = ox_memory_text(path);
    return OX_SOCKET_OK;
}

/// The first of the reasons for which a certificate was refused.
int certificate_failure(uint32_t flags, const char* host) {
    char text[256];
    if (flags & MBEDTLS_X509_BADCERT_EXPIRED) return failure("the certificate has expired");
    if (flags & MBEDTLS_X509_BADCERT_FUTURE) return failure("the certificate is not valid yet");
    if (flags & MBEDTLS_X509_BADCERT_REVOKED) return failure("the certificate was revoked");
    if (flags & MBEDTLS_X509_BADCERT_NOT_TRUSTED) {
        return failure("the certificate is not signed by a trusted authority");
    }
    if (flags & MBEDTLS_X509_BADCERT_CN_MISMATCH) {
        snprintf(text, sizeof(text), "the certificate is not for the host %s", host ? host : "");
        return failure(text);
    }
    if (flags & (MBEDTLS_X509_BADCERT_KEY_USAGE | MBEDTLS_X509_BADCERT_EXT_KEY_USAGE)) {
        return failure("the certificate is not for a server");
    }
    mbedtls_x509_crt_verify_info(text, sizeof(text), "", flags);
    text[strcspn(text, "\n")] = '\0';
    return failure(*text ? text : "the certificate was refused");
}

int handshake_failure(TlsSession* session, int rc, const char* host) {
    uint32_t flags = mbedtls_ssl_get_verify_result(&session->ssl);
    bool not_verified_yet = flags == UINT32_MAX;
    if (flags != 0 && !not_verified_yet) return certificate_failure(flags, host);
    if (is_fruitless(session)) return failure("the other side goes on and on in the TLS handshake");
    char text[256];
    switch (rc) {
        case 0:
        case MBEDTLS_ERR_SSL_CONN_EOF:
        case MBEDTLS_ERR_NET_CONN_RESET:
        case MBEDTLS_ERR_NET_SEND_FAILED:
        case MBEDTLS_ERR_NET_RECV_FAILED:
            return failure("the daemon closed the connection during the TLS handshake (does it speak TLS?)");
        case MBEDTLS_ERR_SSL_INVALID_RECORD:
        case MBEDTLS_ERR_SSL_UNEXPECTED_MESSAGE:
            return failure("the other side does not speak TLS");
        case BAD_VERSION:
            return failure("the other side has no TLS version from 1.2 on");
        case MBEDTLS_ERR_SSL_FATAL_ALERT_MESSAGE:
            return failure("the daemon refused the TLS handshake");
        case MBEDTLS_ERR_SSL_ALLOC_FAILED:
            return OX_SOCKET_ENOMEM;
        default:
            char reason[160];
            mbedtls_strerror(rc, reason, sizeof(reason));
            snprintf(text, sizeof(text), "TLS handshake failed: %s", reason);
            return failure(text);
    }
}

/// Mbed TLS 2.28 checks names only; a host given as an address must stand in the certificate as one, or as
/// the common name of a certificate without alternative names.
bool carries_address(const mbedtls_x509_crt* certificate, const TlsSession* session) {
    const mbedtls_x509_sequence* item = &certificate->subject_alt_names;
    if (!item->buf.p) {
        const mbedtls_x509_name* name = &certificate->subject;
        for (; name; name = name->next) {
            bool common = MBEDTLS_OID_CMP(MBEDTLS_OID_AT_CN, &name->oid) == 0;
            if (common && name->val.len == strlen(session->host) &&
                memcmp(name->val.p, session->host, name->val.len) == 0) {
                return true;
            }
        }
        return false;
    }
    for (; item; item = item->next) {
        bool address = (item->buf.tag & MBEDTLS_ASN1_TAG_VALUE_MASK) == MBEDTLS_X509_SAN_IP_ADDRESS;
        if (address && item->buf.len == session->address_size &&
            memcmp(item->buf.p, session->address, session->address_size) == 0) {
            return true;
        }
    }
    return false;
}

int verify_address(void* context, mbedtls_x509_crt* certificate, int depth, uint32_t* flags) {
    const auto* session = static_cast<TlsSession*>(context);
    if (depth == 0 && !carries_address(certificate, session)) *flags |= MBEDTLS_X509_BADCERT_CN_MISMATCH;
    return 0;
}

void read_address(TlsSession* session, const char* host) {
    session->host = host;
    if (inet_pton(AF_INET, host, session->address) == 1) session->address_size = 4;
    if (inet_pton(AF_INET6, host, session->address) == 1) session->address_size = 16;
}

/// Prepares the session for a handshake. The host name is checked where one is given.
int set_up(TlsSession* session, const char* host) {
    mbedtls_ssl_config* config = &session->config;
    if (!prepare_crypto()) return MBEDTLS_ERR_SSL_ALLOC_FAILED;
    int rc = mbedtls_ctr_drbg_seed(&session->random, mbedtls_entropy_func, &session->entropy, nullptr, 0);
    if (rc == 0) {
        rc = mbedtls_ssl_config_defaults(config, MBEDTLS_SSL_IS_CLIENT, MBEDTLS_SSL_TRANSPORT_STREAM,
                                         MBEDTLS_SSL_PRESET_DEFAULT);
    }
    if (rc != 0) return rc;
    require_version_1_2(config);
    mbedtls_ssl_conf_authmode(config, MBEDTLS_SSL_VERIFY_REQUIRED);
    mbedtls_ssl_conf_ca_chain(config, &trusted, nullptr);
    mbedtls_ssl_conf_rng(config, mbedtls_ctr_drbg_random, &session->random);
    if (host) read_address(session, host);
    if (session->address_size > 0) mbedtls_ssl_conf_verify(config, verify_address, session);
    rc = mbedtls_ssl_setup(&session->ssl, config);
    // Mbed TLS 3.6.3 wants to be told, also that it has no name to check.
    const char* name = session->address_size == 0 ? host : nullptr;
    if (rc == 0) rc = mbedtls_ssl_set_hostname(&session->ssl, name);
    if (rc == 0) mbedtls_ssl_set_bio(&session->ssl, session, send_bytes, receive_bytes, nullptr);
    return rc;
}

TlsSession* session_new(int fd) {
    auto* session = static_cast<TlsSession*>(calloc(1, sizeof(TlsSession)));
    if (!session) return nullptr;
    mbedtls_ssl_init(&session->ssl);
    mbedtls_ssl_config_init(&session->config);
    mbedtls_entropy_init(&session->entropy);
    mbedtls_ctr_drbg_init(&session->random);
    session->fd = fd;
    return session;
}

/// What a read or write that moved no bytes means.
ssize_t stream_error(int rc) {
    if (is_ticket(rc)) return OX_SOCKET_EEMPTY;
    switch (rc) {
        case MBEDTLS_ERR_SSL_WANT_READ:
        case MBEDTLS_ERR_SSL_WANT_WRITE:
            return OX_SOCKET_EEMPTY;
        case 0:
        case MBEDTLS_ERR_SSL_PEER_CLOSE_NOTIFY:
        case MBEDTLS_ERR_SSL_CONN_EOF:
        case MBEDTLS_ERR_NET_CONN_RESET:
        case MBEDTLS_ERR_NET_SEND_FAILED:
        case MBEDTLS_ERR_NET_RECV_FAILED:
            return OX_SOCKET_ECLOSED;
        default:
            char text[256];
            mbedtls_strerror(rc, text, sizeof(text));
            return failure(text);
    }
}

}  // namespace

int tls_handshake(ox_socket* socket, const char* host, long long deadline) {
    int rc = load_trusted();
    if (rc != OX_SOCKET_OK) return rc;
    TlsSession* session = session_new(socket->fd);
    if (!session) return OX_SOCKET_ENOMEM;
    socket->tls = session;
    rc = set_up(session, host);
    if (rc != 0) return handshake_failure(session, rc, host);
    for (;;) {
        session->turn = BYTES_PER_TURN;
        rc = mbedtls_ssl_handshake(&session->ssl);
        if (rc == 0) return OX_SOCKET_OK;
        bool reading = rc == MBEDTLS_ERR_SSL_WANT_READ;
        if (!reading && rc != MBEDTLS_ERR_SSL_WANT_WRITE) return handshake_failure(session, rc, host);
        // The clock holds also where there is always something to read.
        if (deadline != NO_DEADLINE && ox_wait_now_ms() >= deadline) return OX_SOCKET_ETIMEOUT;
        rc = wait_until(socket->fd, reading ? POLLIN : POLLOUT, deadline);
        if (rc != OX_SOCKET_OK) return rc;
    }
}

ssize_t tls_read(TlsSession* session, void* data, size_t size) {
    session->turn = BYTES_PER_TURN;
    int rc = mbedtls_ssl_read(&session->ssl, static_cast<unsigned char*>(data), size);
    if (rc > 0) session->fruitless = 0;
    if (rc <= 0 && is_fruitless(session)) return failure("the other side sends TLS records without content");
    return rc > 0 ? rc : stream_error(rc);
}

ssize_t tls_write(TlsSession* session, const void* data, size_t size) {
    int rc = mbedtls_ssl_write(&session->ssl, static_cast<const unsigned char*>(data), size);
    return rc > 0 ? rc : stream_error(rc);
}

bool tls_has_pending(const TlsSession* session) {
    return mbedtls_ssl_check_pending(&session->ssl) != 0;
}

void tls_free(TlsSession* session) {
    mbedtls_ssl_close_notify(&session->ssl);
    mbedtls_ssl_free(&session->ssl);
    mbedtls_ssl_config_free(&session->config);
    mbedtls_ctr_drbg_free(&session->random);
    mbedtls_entropy_free(&session->entropy);
    free(session);
}
