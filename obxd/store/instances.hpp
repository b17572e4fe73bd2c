// Adding and deleting instances.
#pragma once

#include <string_view>
#include <vector>

#include "answers.hpp"
#include "caller.hpp"
#include "store/model.hpp"

namespace obxd {

/// AddObject and DeleteObject.
Answer object_add(Model& model, const Caller& caller, const json_t* params);
Answer object_delete(Model& model, const Caller& caller, const json_t* params);

/// Adds an instance with these values (object of relative name to value, borrowed, may be null), with no
/// permission check; 0 on failure.
uint32_t instance_add(Model& model, std::string_view object, const json_t* values);
/// Deletes an instance, and what refers to it where the model says so. False when a reference forbids it, or
/// there is none.
bool instance_delete(Model& model, std::string_view path);
/// The numbers of the instances of an object, ascending.
std::vector<uint32_t> instance_numbers(Model& model, std::string_view object);

}  // namespace obxd
