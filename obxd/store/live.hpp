// The present value of a place: stored, counted, or computed when it is read; and what runs after a change.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "store/place.hpp"

namespace obxd {

/// The present value of a parameter, borrowed; computed ones are refreshed. `path` may be null.
json_t* value_read(Node* node, const Schema* parameter, const std::string* path);
/// What a request is shown: hidden ones read as "", 0 or false. Borrowed.
json_t* value_shown(Node* node, const Schema* parameter, const std::string* path);
/// The same of a parameter or pseudo-parameter: a new reference.
json_t* place_value(const Place& place, const std::string* path);
/// What a hidden parameter reads as. Borrowed.
json_t* value_nothing(const Schema* parameter);

/// What `path` (with "*" for instances) reads as; replaces what was set for the same path.
void live_set(Model& model, std::string_view path, std::function<json_t*(const std::string&)> reader);
/// What runs after a request has changed `path`; replaces as well.
void hook_set(Model& model, std::string_view path, std::function<void(const std::string&, json_t*)> hook);
void hooks_run(const Schema* parameter, const std::string& path, json_t* value);

}  // namespace obxd
