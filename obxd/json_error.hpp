// What the JSON parser says about a text.
#pragma once

#include <jansson.h>

#include <string>

namespace obxd {

/// The reason, without the words of the text that the parser quotes: whoever is told it may be somebody who
/// must not read the text.
std::string json_error_text(const json_error_t& error);

}  // namespace obxd
