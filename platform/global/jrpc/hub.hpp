// The one descriptor that tells of events: an epoll instance over the process's connections and a counter
// that is raised while something waits inside the process. It is made when somebody first asks for it.
#pragma once

#include "socket.hpp"

/// The descriptor, or -1 with errno on failure.
int hub_descriptor(void);
/// Follow descriptors as connections come and go; without effect while there is no hub.
void hub_watch(const ox_socket* socket);
void hub_unwatch(const ox_socket* socket);
/// Makes the descriptor readable exactly while something can be taken.
void hub_signal(void);
void hub_close(void);
