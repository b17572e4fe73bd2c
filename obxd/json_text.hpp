// Writing JSON: byte for byte what jansson writes in its compact form, with 15 digits of a real.
#pragma once

#include <jansson.h>

#include <string_view>

#include "text.hpp"

namespace obxd {

/// Appends a text as a JSON string, quotes included. False, and nothing is appended, for what is no UTF-8.
bool json_put_string(Text& text, std::string_view value);
/// Appends any value. False for null and for a text in it that is no UTF-8; then it may be there in part.
bool json_put(Text& text, const json_t* value);

}  // namespace obxd
