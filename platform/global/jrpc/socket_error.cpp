#include "socket_error.hpp"

#include <errno.h>
#include <stdio.h>
#include <string.h>

namespace {

char system_text[256] = "System error";
char tls_text[256] = "TLS failure";
char broken_text[256] = "Broken message";

}  // namespace

int socket_failure(int code, const char* text) {
    char* kept = system_text;
    if (code == OX_SOCKET_ETLS) kept = tls_text;
    if (code == OX_SOCKET_EPROTO) kept = broken_text;
    snprintf(kept, sizeof(system_text), "%s", text);
    return code;
}

int socket_error_of(int error_number) {
    switch (error_number) {
        case ECONNREFUSED:
            return OX_SOCKET_EREFUSED;
        case ENOENT:
        case ENOTDIR:
            return OX_SOCKET_ENOENT;
        case EACCES:
        case EPERM:
            return OX_SOCKET_EACCES;
        case ECONNRESET:
        case ECONNABORTED:
        case EPIPE:
            return OX_SOCKET_ECLOSED;
        case ETIMEDOUT:
            return OX_SOCKET_ETIMEOUT;
        case ENOMEM:
        case ENOBUFS:
            return OX_SOCKET_ENOMEM;
        default:
            return socket_failure(OX_SOCKET_ESYSTEM, strerror(error_number));
    }
}

const char* socket_error_text(int code) {
    switch (code) {
        case OX_SOCKET_OK:
            return "Success";
        case OX_SOCKET_ESYSTEM:
            return system_text;
        case OX_SOCKET_ENOMEM:
            return "Out of memory";
        case OX_SOCKET_EDESTINATION:
            return "Bad destination or unknown host";
        case OX_SOCKET_EREFUSED:
            return "Connection refused";
        case OX_SOCKET_ENOENT:
            return "No such socket";
        case OX_SOCKET_EACCES:
            return "Permission denied";
        case OX_SOCKET_ECLOSED:
            return "Connection closed by the daemon";
        case OX_SOCKET_EEMPTY:
            return "Nothing to read yet";
        case OX_SOCKET_ETLS:
            return tls_text;
        case OX_SOCKET_EPROTO:
            return broken_text;
        case OX_SOCKET_ETIMEOUT:
            return "Timed out";
        case OX_SOCKET_EPARTIAL:
            return "Incomplete message";
        default:
            return "Unknown socket error";
    }
}
