// The schema of a model in published documents.
#pragma once

#include <string>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// Reads a root's document, and those of services that are mounted below its "Services.", into the schema of
/// an empty model. Deleted nodes are left out unless Model::show_all. False with `error` ("FILE:LINE: why").
bool schema_load_xml(Model& model, const std::string& file, const std::vector<std::string>& services,
                     std::string& error);

}  // namespace obxd
