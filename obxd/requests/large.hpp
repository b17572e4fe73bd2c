// Long messages: they are read in time that their length tells, and refused without being read.
#pragma once

#include <string>
#include <string_view>

#include "owners.hpp"

namespace obxd {

/// Longer messages are not read by jansson, which takes ten times as long.
constexpr size_t LARGE_MESSAGE = size_t{64} * 1024;

enum class Reading { WHOLE, BROKEN, UNFIT, COSTLY };

/// Reads a message as jansson would. UNFIT: it is JSON that the parser has no room for (unfit.hpp); COSTLY:
/// it takes more memory than a message of its length may.
Reading large_read(std::string_view text, JsonRef& message);

/// The message with null in the place of every array and object in it, so that its id can be read; "" where
/// even this is long.
std::string message_outline(std::string_view text);

}  // namespace obxd
