// Selectors of any bytes end with a verdict, and what was read is within its bounds.
#include "fuzz.hpp"
#include "store/selector.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    obxd::Selector selector;
    std::string error;
    std::string_view text(reinterpret_cast<const char*>(data), size);
    bool fine = obxd::selector_parse(text, selector, error);
    REQUIRE(fine == error.empty());
    if (fine && selector.steps.empty() && selector.members.empty())
        REQUIRE(text.find('.') != std::string_view::npos);
    return 0;
}
