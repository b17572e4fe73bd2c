// Whole configurations: taking one, making one the present one.
#pragma once

#include <string>
#include <vector>

#include "store/model.hpp"

namespace obxd {

/// All values that can be set, and the instances: a configuration tree, a new reference.
json_t* snapshot_take(Model& model);
/// All values that are not those that the schema gives, and the instances, as a model file has them: a new
/// reference.
json_t* values_take(Model& model);
/// Makes the values those of a snapshot. The listener is told of instances, not of values. False when it does
/// not fit the model.
bool snapshot_restore(Model& model, const json_t* snapshot, std::string& error);
/// Makes the values those of the model file; the listener is told as above. `keep` names what is left alone.
void defaults_reset(Model& model, const std::vector<std::string>& keep);

/// The paths of all instances, in the model's order.
std::vector<std::string> instances_of(Model& model);
/// Does what follows from the instances that went and came since `before` was gathered: references to those
/// that went are emptied, and the listener is told.
void instances_settle(Model& model, const std::vector<std::string>& before);

}  // namespace obxd
