// The attributes of nodes as clients see them, made of what a loader knows.
#pragma once

#include "owners.hpp"
#include "store/builder.hpp"

namespace obxd {

constexpr char READ_ONLY[] = "readOnly", READ_WRITE[] = "readWrite";

/// Of any node: its type, who may do what with it, and what the facts say beside that. A new object.
JsonRef node_attrs(const Schema* schema, const char* type, const Facts& facts);
/// What a multi-instance object has beside what its instances have.
void table_attrs_add(json_t* attrs, const Facts& facts);
/// Adds a parameter's bounds, where the attributes do not have them yet. Of several ranges or sizes the least
/// and the greatest bound.
void limits_attrs_add(json_t* attrs, const Limits& limits, const Facts& facts);
/// The same attributes in the order in which clients get them.
JsonRef attrs_in_order(json_t* attrs);
/// Gives a parameter a foreign key of its own, where it is another one.
void foreign_key_set(Schema* parameter, const std::string& paths);

/// Who may read and (`writable`) set, as "perms" has it; a status that is not the current one behind it.
std::string perms_text(const Schema* schema, bool writable);
/// The ranges of a number, an array of {"min","max","step"}, or null.
json_t* ranges_json(const Limits& limits);

/// Of max_instance and order, or (`writable`) index.
JsonRef pseudo_attrs(bool writable);

}  // namespace obxd
