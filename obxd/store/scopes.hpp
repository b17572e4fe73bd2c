// Paths as models write them in references: from the top, or from where the reference stands.
//
//   Device.IP.Interface.{i}.   from the top ("{i}", "*" and "#template" stand for any instance)
//   .IP.Interface.             from the model's own top object (Device.), or the service's that it stands in
//   #.Port.                    from the object above the reference's own, "##." two above; a table and its
//                              instances are one level, and the instance is that of the reference itself
//   Interface.                 from the reference's own object
#pragma once

#include <string>
#include <string_view>

#include "store/tree.hpp"

namespace obxd {

/// The path from the top, without the final "." and with "#template" for any instance, of what a parameter of
/// `object` names so. With `node` (of that object, or of one above it) the instances that both stand in are
/// its own.
std::string scope_path(const Schema* object, const Node* node, std::string_view path);
/// Whether such a path is that of a top object. It is no table: rows of it are any rows below it.
bool scope_is_top(std::string_view full);

}  // namespace obxd
