// URL parsing.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// A text and its length inside the parsed URL; not terminated.
struct ox_url_part {
    const char* text;
    size_t length;
};

/// The parts of scheme://[user[:password]@]host[:port][/path]. Absent parts have length 0; port 0 is none
/// given. The host of an IPv6 literal comes without its brackets; the path keeps its leading "/".
struct ox_url {
    ox_url_part scheme, user, password, host, path;
    uint16_t port;
};

/// Non-zero when the first `length` bytes of `text` are a URL: a scheme (letter, then letters, digits, "+",
/// "-", "."), "://", and a host or a path behind it. The record is filled with parts of `text`, zeroed
/// before.
int ox_url_parse_mem(ox_url* url, const char* text, size_t length);
