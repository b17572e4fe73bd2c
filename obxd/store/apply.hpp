// Configuration trees: checking them against the schema, and making the values those of one.
#pragma once

#include <string>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// Checks a tree of values against the schema, references left out. False with `error`.
bool tree_check(Model& model, const json_t* values, std::string& error);
/// Applies a checked tree. With `only_config`, to what requests can change and what the tree names; else to
/// everything, the model's initial values standing where the tree has none. `keep` names what is left alone.
void tree_apply(Model& model, const json_t* values, bool only_config, const std::vector<std::string>& keep);

}  // namespace obxd
