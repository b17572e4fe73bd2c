// Objects with equal text become one shared object: those that were read are found again by their texts.
#pragma once

#include <jansson.h>
#include <stddef.h>

struct JsonFolds;

/// The length of the object that begins at `data`; 0 when its end is not there.
size_t json_folds_length(const char* data, size_t size);
/// The object of this text, if one is known: a new reference, or null. `*folds` may be null.
json_t* json_folds_find(const JsonFolds* folds, const char* text, size_t size);
/// Makes an object (borrowed) known by its text. `*folds` is made when it is null. The objects seen last are
/// the ones that are known.
void json_folds_add(JsonFolds** folds, const char* text, size_t size, json_t* object);
/// Null-safe.
void json_folds_free(JsonFolds* folds);
