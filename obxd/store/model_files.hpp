// What a model is loaded from.
#pragma once

#include <string>
#include <vector>

namespace obxd {

struct ModelFiles {
    std::string model;                  ///< a model file in JSON, or a published document in XML
    std::vector<std::string> services;  ///< published service models, mounted into that of a document
    bool show_all = false;              ///< nodes that were deleted are there all the same
};

}  // namespace obxd
