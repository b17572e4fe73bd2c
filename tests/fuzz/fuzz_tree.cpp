// Trees drawn from two documents of a daemon's.
#include "commands/tree_draw.hpp"
#include "fuzz.hpp"
#include "ox_raii.hpp"

namespace {

json_t* read(const std::string& text) {
    return json_loadb(text.data(), text.size(), 0, nullptr);
}

}  // namespace

// Lines: the values, and their schema.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    bool terminal = input.number(2) == 1;
    JsonRef value(read(input.text()));
    JsonRef scheme(read(input.text()));
    if (!value) return 0;
    Printed printed(terminal);
    tree_draw_root(value, scheme, "Device.");
    std::string text = printed.text();
    REQUIRE(!terminal || !steers(text));
    REQUIRE(text.empty() || text.back() == '\n');
    return 0;
}
