// URLs: the parts lie inside the text, in order, and put together again they are the text.
#include <string.h>

#include "fuzz.hpp"
#include "ox_url.hpp"

namespace {

std::string part(const ox_url_part& piece) {
    return std::string(piece.text ? piece.text : "", piece.length);
}

/// The text in which empty parts and the port have no signs of their own.
std::string joined(const ox_url& url) {
    std::string login = part(url.user);
    if (url.password.length > 0) login += ":" + part(url.password);
    std::string host = part(url.host);
    if (host.find(':') != std::string::npos || host.starts_with('[')) host = "[" + host + "]";
    if (url.port) host += ":" + std::to_string(url.port);
    return part(url.scheme) + "://" + login + (login.empty() ? "" : "@") + host + part(url.path);
}

bool same(const ox_url& one, const ox_url& other) {
    return part(one.scheme) == part(other.scheme) && part(one.user) == part(other.user) &&
           part(one.password) == part(other.password) && part(one.host) == part(other.host) &&
           part(one.path) == part(other.path) && one.port == other.port;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    ox_url url, again;
    if (!ox_url_parse_mem(&url, text.data(), text.size())) return 0;
    REQUIRE(url.scheme.length > 0 && (url.host.length > 0 || url.path.length > 0));
    const char* at = text.data();
    for (const ox_url_part& piece : {url.scheme, url.user, url.password, url.host, url.path}) {
        if (piece.length == 0) continue;
        REQUIRE(piece.text >= at && piece.text + piece.length <= text.data() + text.size());
        at = piece.text + piece.length;
    }
    std::string written = joined(url);
    REQUIRE(ox_url_parse_mem(&again, written.data(), written.size()) && same(url, again));
    return 0;
}
