// Unique keys of multi-instance objects.
#pragma once

#include <string>

#include "store/model.hpp"

namespace obxd {

/// The first other instance (by number) with the same values of a key, or null: also while all of them are at
/// their defaults. Computed values are refreshed.
Node* key_rival(Node* instance, size_t key);
/// The names of a key's members for people.
std::string key_names(const std::vector<Schema*>& key);
/// Whether no two instances of any table share a key. False with the first that do.
bool keys_fit(Model& model, std::string& error);

}  // namespace obxd
