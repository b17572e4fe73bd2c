// Selectors of any bytes end with a verdict, and what was read is within its bounds.

#include <stdint.h>
#include <stdlib.h>

#include "../../obxd/store/selector.cpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    obxd::Selector selector;
    std::string error;
    std::string_view text(reinterpret_cast<const char*>(data), size);
    bool fine = obxd::selector_parse(text, selector, error);
    if (fine != error.empty()) abort();
    if (fine && selector.steps.empty() && text.find('.') == std::string_view::npos &&
        selector.members.empty())
        abort();
    return 0;
}
