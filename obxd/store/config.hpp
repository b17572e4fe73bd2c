// Values as nested objects: configuration trees.
#pragma once

#include <string>
#include <string_view>

#include "answers.hpp"
#include "store/answer_text.hpp"
#include "store/place.hpp"

namespace obxd {

/// The values of an object and of all below it as a nested object, without what `rank` may not read; a new
/// reference. `path` is the object's own.
json_t* config_tree(const Place& place, int rank, const std::string& path);
/// Puts a value where its path says inside a configuration tree, the objects on the way made where they are
/// missing. Takes over `value`. False (and the value is released) for the path of the tree itself.
bool config_put(json_t* tree, std::string_view path, json_t* value);

/// The same as text, the members behind what stands in the object that is open.
void config_text(const Place& place, int rank, const std::string& path, TreeText& tree);

/// GetConfig; the answer is at most `room` bytes long, or cut.
Answer config_get(Model& model, const Caller& caller, const json_t* params, size_t room);

}  // namespace obxd
