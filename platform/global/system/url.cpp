#include <ctype.h>
#include <string.h>

#include "ox_url.hpp"

namespace {

/// In a scheme, behind its first letter.
bool may_follow(char c) {
    return isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
}

bool is_scheme(const char* text, size_t length) {
    if (length == 0 || !isalpha(static_cast<unsigned char>(text[0]))) return false;
    for (size_t i = 1; i < length; ++i) {
        if (!may_follow(text[i])) return false;
    }
    return true;
}

/// The first `byte` of a part, or null.
const char* find(const char* text, size_t length, char byte) {
    return length > 0 ? static_cast<const char*>(memchr(text, byte, length)) : nullptr;
}

bool read_port(const char* text, size_t length, uint16_t* out) {
    unsigned long port = 0;
    if (length == 0) return true;
    for (size_t i = 0; i < length; ++i) {
        if (!isdigit(static_cast<unsigned char>(text[i]))) return false;
        port = port * 10 + static_cast<unsigned long>(text[i] - '0');
        if (port > 65535) return false;
    }
    *out = static_cast<uint16_t>(port);
    return true;
}

/// [user[:password]@]; returns the length taken.
size_t read_login(ox_url* url, const char* text, size_t length) {
    const auto* at = static_cast<const char*>(length > 0 ? memrchr(text, '@', length) : nullptr);
    if (!at) return 0;
    auto size = static_cast<size_t>(at - text);
    const char* colon = find(text, size, ':');
    url->user = {text, colon ? static_cast<size_t>(colon - text) : size};
    if (colon) url->password = {colon + 1, size - url->user.length - 1};
    return size + 1;
}

/// host[:port] or [IPv6][:port].
bool read_host(ox_url* url, const char* text, size_t length) {
    const char* end = text + length;
    const char* host_end = nullptr;
    if (length > 0 && *text == '[') {
        host_end = find(text, length, ']');
        if (!host_end) return false;
        url->host = {text + 1, static_cast<size_t>(host_end - text) - 1};
        ++host_end;
    } else {
        const char* colon = find(text, length, ':');
        host_end = colon ? colon : end;
        url->host = {text, static_cast<size_t>(host_end - text)};
    }
    if (host_end == end) return true;
    return *host_end == ':' && url->host.length > 0 &&
           read_port(host_end + 1, static_cast<size_t>(end - host_end) - 1, &url->port);
}

}  // namespace

int ox_url_parse_mem(ox_url* url, const char* text, size_t length) {
    memset(static_cast<void*>(url), 0, sizeof(*url));
    const char* mark =
        text && length > 0 ? static_cast<const char*>(memmem(text, length, "://", 3)) : nullptr;
    if (!mark || !is_scheme(text, static_cast<size_t>(mark - text))) return 0;
    ox_url parsed = {};
    parsed.scheme = {text, static_cast<size_t>(mark - text)};
    const char* rest = mark + 3;
    const char* end = text + length;
    const char* slash = find(rest, static_cast<size_t>(end - rest), '/');
    const char* authority_end = slash ? slash : end;
    if (slash) parsed.path = {slash, static_cast<size_t>(end - slash)};
    rest += read_login(&parsed, rest, static_cast<size_t>(authority_end - rest));
    if (!read_host(&parsed, rest, static_cast<size_t>(authority_end - rest))) return 0;
    if (parsed.host.length == 0 && parsed.path.length == 0) return 0;
    *url = parsed;
    return 1;
}
