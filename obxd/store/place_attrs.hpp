// The attributes of a place as clients get them: the schema's, and what an instance has of its own.
#pragma once

#include "owners.hpp"
#include "store/place.hpp"

namespace obxd {

/// What all places of this schema share; borrowed, alive as long as the model.
json_t* attrs_shared(const Model& model, const Place& place);
/// The attributes where they are other ones than the shared: what this instance can choose from, may refer
/// to, or can set no more; a new object. Null where the shared ones hold.
JsonRef attrs_own(Model& model, const Place& place);
/// The attributes with what clients get on request only: description, units, since, status, ranges, keys.
JsonRef attrs_detailed(Model& model, const Place& place);

}  // namespace obxd
