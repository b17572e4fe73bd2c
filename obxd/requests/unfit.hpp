// Messages that are JSON, but that the parser has no room for: null characters, numbers beyond 64 bits.
#pragma once

#include <jansson.h>

#include <string>
#include <string_view>

namespace obxd {

/// True when the parser gave up for such a reason.
bool unfit_is(const json_error_t& error);
/// The message with something else in the place of what does not fit, so that it can be parsed; `why` says
/// what the first of it was.
std::string unfit_clean(std::string_view text, std::string& why);
/// True when a text of a cleaned message was another one.
bool unfit_text(const char* text);

}  // namespace obxd
