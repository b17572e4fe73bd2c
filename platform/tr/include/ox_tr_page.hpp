// What a node's attributes say, as a page for people.
#pragma once

#include <jansson.h>
#include <stddef.h>

/// The page of the node at a path: its name, a row for each thing that its attributes tell, and its
/// description below, wrapped to `columns`. `inputs` is the list of a method's arguments (elements with
/// "Name" and "Attributes"), `referrers` an array of the paths that refer to it (ox_tr_referrers.hpp); null
/// for none. All are borrowed; members that are missing or of the wrong type are left out. A heap text of
/// lines.
char* ox_tr_page_new(const char* path, const json_t* attributes, const json_t* inputs,
                     const json_t* referrers, size_t columns);
