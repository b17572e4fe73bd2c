// What commands print of a daemon's values and attributes: never what steers a terminal, and off a terminal
// values that can be read back.
#include <string.h>

#include "commands/attr_print.hpp"
#include "fuzz.hpp"
#include "model/value_format.hpp"
#include "ox_raii.hpp"

namespace {

json_t* read(const std::string& text) {
    return json_loadb(text.data(), text.size(), JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr);
}

std::string formatted(const json_t* value, const json_t* node, bool terminal) {
    Printed printed(terminal);
    value_format(value, node);
    return printed.text();
}

void reads_back(const json_t* value, const std::string& text) {
    if (json_is_string(value)) {
        std::string expected(json_string_value(value), json_string_length(value));
        REQUIRE(text == "'" + expected + "'");
    } else if (!json_is_object(value)) {
        JsonRef again(read(text));
        REQUIRE(json_equal(again, value));
    }
}

}  // namespace

// Lines: a value, and the attributes of its node.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    JsonRef value(read(input.text()));
    JsonRef attributes(read(input.text()));
    JsonRef node(json_object());
    if (attributes) json_object_set(node, "#attr", attributes);
    if (value) {
        reads_back(value, formatted(value, nullptr, false));
        REQUIRE(!steers(formatted(value, node, true)));
    }
    if (json_is_object(attributes.get())) {
        Printed printed(true);
        attr_print("Device.Some.Path", node, attributes);
        REQUIRE(!steers(printed.text()));
    }
    return 0;
}
