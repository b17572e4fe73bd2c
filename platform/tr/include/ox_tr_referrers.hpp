// What refers to an object of the model.
#pragma once

#include <jansson.h>

/// The parameters of a schema (nested nodes with "#attr", as a GetDataModel answer holds them) whose
/// "foreign_key" names the object at a path, or the table of that instance: a new array of their paths, in
/// the model's order and with "{i}" for instances. Both are borrowed.
json_t* ox_tr_referrers_new(const json_t* schema, const char* path);
