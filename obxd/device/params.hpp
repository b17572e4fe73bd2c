// The params of requests, and the inputs of methods.
#pragma once

#include <jansson.h>

namespace obxd {

/// The member's text; null when it is absent, null or no text.
inline const char* text_param(const json_t* params, const char* name) {
    return json_string_value(json_object_get(params, name));
}

}  // namespace obxd
