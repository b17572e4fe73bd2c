// The answer to a request as the text of a message.
#pragma once

#include <jansson.h>

#include "answers.hpp"

namespace obxd {

/// The response to the request with this id (borrowed). An answer longer than a message may be, or cut,
/// becomes a fault.
Text response_text(const json_t* id, Answer answer);

}  // namespace obxd
