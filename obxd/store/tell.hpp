// Telling the listener of changes.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

void value_tell(Model& model, const std::string& path, json_t* value);
/// `path` is that of the table (ADD) or of the instance (DELETE).
void instance_tell(Model& model, Change::Kind kind, const std::string& path, uint32_t number);
/// Tells of the number of instances, where a parameter counts them.
void counter_tell(Model& model, Node* table);
/// Tells of the places `from` to `to` of an ordered object.
void orders_tell(Model& model, Node* table, uint32_t from, uint32_t to);

}  // namespace obxd
