// One file, served once over TCP for the daemon to fetch.
#pragma once

#include <stddef.h>

/// Maps the file and serves it on a free port of this host's address towards the daemon, from a thread of its
/// own that waits 10 seconds for one client and then ends. Prints the "Sending file" line; fills `url`
/// ("netcat://ADDRESS:PORT") and `size`. Returns 0, or -1 after an "aborting." message.
int serve_file(const char* path, char* url, size_t url_size, size_t* size);

/// What serving threads tell goes to this descriptor, whole lines at a time, instead of standard output; -1
/// for standard output again. The line editor needs this while it draws on the terminal. The descriptor must
/// be non-blocking, and stay open until another one is set.
void serve_file_tell(int fd);
