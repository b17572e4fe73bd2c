// The addresses of a host.
#pragma once

#include <sys/socket.h>

#include "socket.hpp"

enum { ADDRESSES_MAX = 8 };

struct HostAddress {
    socklen_t size;
    struct sockaddr_storage address;
};

struct HostAddresses {
    int error;  ///< errno where the system had too little of something; 0: there is no such name
    unsigned count;
    HostAddress list[ADDRESSES_MAX];
};

/// Looks a name, or an address as text, up, until the deadline (wait.hpp). `port` is a number as text.
/// OX_SOCKET_OK with one address or more, or the socket error. A jump may leave the wait for a name.
int addresses_find(const char* host, const char* port, long long deadline, HostAddresses* found);
