// Messages: from the text to the function that answers.
#pragma once

#include <string_view>

#include "requests/requests.hpp"

namespace obxd {

/// Answers one message of the connection, at once or later. False, and nothing is done, where there is no
/// room for the answer now.
bool dispatch(Requests& requests, Connection& c, std::string_view text);

/// Answers what is no message, and has the connection closed once that is out.
void dispatch_broken(Connection& c, const char* why);

}  // namespace obxd
