// URLs: the parts lie inside the text, in order.
#include <string.h>

#include "fuzz.hpp"
#include "ox_url.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    ox_url url;
    if (!ox_url_parse_mem(&url, text.data(), text.size())) return 0;
    REQUIRE(url.scheme.length > 0 && (url.host.length > 0 || url.path.length > 0));
    const char* at = text.data();
    for (const ox_url_part& part : {url.scheme, url.user, url.password, url.host, url.path}) {
        if (part.length == 0) continue;
        REQUIRE(part.text >= at && part.text + part.length <= text.data() + text.size());
        at = part.text + part.length;
    }
    return 0;
}
