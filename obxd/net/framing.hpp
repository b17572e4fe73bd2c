// Cutting a byte stream into JSON objects.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>

#include "bounds.hpp"

namespace obxd {

/// Bytes received and not yet taken, and how far they were looked at. Each byte is looked at once, however
/// the stream was split.
struct Input {
    std::string bytes;
    size_t taken = 0;    ///< bytes of messages that were handed out
    size_t scanned = 0;  ///< where the search for the message's end goes on
    uint32_t depth = 0;  ///< open braces
    bool in_string = false;
    bool escaped = false;
};

enum class Frame { MESSAGE, PARTIAL, NO_OBJECT, TOO_LONG };

/// Appends received bytes. Earlier messages become invalid.
void input_append(Input& input, const char* data, size_t size);

/// The next whole object: `message` views it until the next append. NO_OBJECT: something else stands where a
/// message should begin; TOO_LONG: a message grew beyond MAX_MESSAGE. After these two the stream is lost.
Frame input_next(Input& input, std::string_view& message);

}  // namespace obxd
