// The daemon's flat lists of names as trees of nested objects.
#pragma once

#include <jansson.h>

/// Turns a "ParameterList" of elements with at least "Name" into nested objects keyed by path components,
/// relative to `base` (null or ".": from the top). Each node carries its element's other members under
/// "#info"; the element that names the base itself fills the result's own "#info". Elements outside the base,
/// and names of more than 1024 components, are skipped. A new reference; an empty object when the list is no
/// array.
json_t* ox_tr_names_to_config(const json_t* list, const char* base);
/// Turns an array of {"Name","Value"} into nested objects whose leaves are the values, with the text `prefix`
/// cut off the names that begin with it (null: from the top). Names of more than 1024 components are skipped.
/// Null when the list is no array or holds no name.
json_t* ox_tr_namevalues_to_config(const json_t* list, const char* prefix);
