// The sockets on which the daemon waits for clients.
#pragma once

#include <sys/types.h>

#include <string>

#include "owners.hpp"

namespace obxd {

/// Opens the local socket at `path` for everybody on the host. A socket that nobody serves any more is
/// replaced; one that answers, or a file of another kind, is an error. Daemons that start at once on one path
/// wait for each other, so that one of them serves it. Fills `error` with one line and returns an empty owner
/// when it fails.
Fd listen_local(const std::string& path, std::string& error);

/// Removes the socket's file, unless another daemon's has taken its place. `inode` as listen_inode gave it.
void unlisten_local(const std::string& path, ino_t inode);
/// The file that the path names; 0 where there is none.
ino_t listen_inode(const std::string& path);

/// Listens on TCP; `port` 0 takes any free one and is set to it. An empty host means every address.
Fd listen_tcp(const std::string& host, int& port, std::string& error);

}  // namespace obxd
