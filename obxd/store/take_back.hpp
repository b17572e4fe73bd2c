// Taking back what an open change has altered.
#pragma once

#include <string>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// Takes back all that was noted, and ends the noting. The listener is told, and hooks are run. What cannot
/// be had back because of what others did meanwhile (a key that another row has by now) stays as it is: its
/// paths are returned. References to what is gone are emptied.
std::vector<std::string> take_back(Model& model);

}  // namespace obxd
