// Times as the model writes them.
#pragma once

#include <time.h>

#include <string>

namespace obxd {

/// The present time, and any, as a dateTime.
std::string time_text();
std::string time_text(const timespec& time);

}  // namespace obxd
