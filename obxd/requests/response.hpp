// The answer to a request as the text of a message.
#pragma once

#include <jansson.h>

#include <string>

#include "answers.hpp"

namespace obxd {

/// Appends the response to the request with this id (borrowed); takes over the answer's references. An
/// answer longer than a message may be becomes a fault.
void response_append(std::string& text, const json_t* id, Answer answer);

}  // namespace obxd
