// Cutting a byte stream into JSON objects.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

#include "bounds.hpp"
#include "ox_array.hpp"

namespace obxd {

/// Bytes received and not yet taken, and how far they were looked at. Each byte is looked at once, however
/// the stream was split.
struct Input {
    ox_array<char> bytes{};
    size_t taken = 0;      ///< bytes of messages that were handed out
    size_t scanned = 0;    ///< where the search for the message's end goes on
    size_t values = 0;     ///< of the message, as many as it can hold at most: containers and what they hold
    size_t again = 0;      ///< length of a message that was given back
    uint32_t depth = 0;    ///< open braces
    uint32_t deepest = 0;  ///< the most that were open in the message
    bool in_string = false;
    bool escaped = false;

    Input() = default;
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    ~Input() { bytes.clear(); }
};

enum class Frame { MESSAGE, PARTIAL, NO_OBJECT, TOO_LONG };

/// Appends received bytes. Earlier messages become invalid. False when memory runs out.
bool input_append(Input& input, const char* data, size_t size);

/// The next whole object: `message` views it until the next append. NO_OBJECT: something else stands where a
/// message should begin; TOO_LONG: a message grew beyond MAX_MESSAGE. After these two the stream is lost.
Frame input_next(Input& input, std::string_view& message);
/// Gives the message that was taken last back: it comes again.
void input_give_back(Input& input, size_t size);
/// Says that the messages that were handed out are done with: where they were all, and long, their memory is
/// given back.
void input_done(Input& input);
/// Drops everything.
void input_clear(Input& input);

}  // namespace obxd
