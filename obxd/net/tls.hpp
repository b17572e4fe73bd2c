// TLS on the daemon's side, never blocking.
#pragma once

#include <stddef.h>
#include <sys/types.h>

#include <memory>
#include <string>

namespace obxd {

struct TlsServer;  ///< certificate, key and settings, shared by all links
struct TlsLink;    ///< one connection

void tls_server_free(TlsServer* server);
void tls_link_free(TlsLink* link);

struct TlsServerDelete {
    void operator()(TlsServer* server) const { tls_server_free(server); }
};
struct TlsLinkDelete {
    void operator()(TlsLink* link) const { tls_link_free(link); }
};
using TlsServerPtr = std::unique_ptr<TlsServer, TlsServerDelete>;
using TlsLinkPtr = std::unique_ptr<TlsLink, TlsLinkDelete>;

/// Loads a PEM certificate chain and its key. Null with a one-line `error` when they are unreadable or do not
/// belong together. TLS 1.2 is the least version.
TlsServerPtr tls_server_load(const std::string& cert_file, const std::string& key_file, std::string& error);

/// A link on a non-blocking descriptor, which stays the caller's.
TlsLinkPtr tls_link_new(TlsServer& server, int fd);

enum class TlsStep { DONE, WANT_READ, WANT_WRITE, FAILED };
/// Takes the handshake as far as the received bytes allow, which it takes in by 32 KiB a call: more may be
/// there after WANT_READ. It has FAILED at 96 KiB.
TlsStep tls_handshake(TlsLink& link);
/// As read(2) and write(2) on a non-blocking descriptor: 0 at the end of the stream, -1 with errno EAGAIN,
/// EPROTO or, of a write, ECONNRESET: then reading may go on. After EAGAIN a write must be repeated with the
/// same bytes. A read takes in 32 KiB a call, so that more may be there after EAGAIN; 96 KiB of records
/// without content are EPROTO.
ssize_t tls_read(TlsLink& link, void* data, size_t size);
ssize_t tls_write(TlsLink& link, const void* data, size_t size);
/// Tells the peer that no more comes, if the socket takes it at once.
void tls_close(TlsLink& link);

}  // namespace obxd
