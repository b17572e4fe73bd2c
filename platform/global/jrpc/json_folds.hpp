// Objects with equal text become one shared object: those that were read are found again by their texts.
#pragma once

#include <jansson.h>
#include <stddef.h>

struct JsonFolds;

/// The length of the object that begins at `data`; 0 when its end is not there.
size_t json_folds_length(const char* data, size_t size);
/// The object that `data` begins with, when it is the one that came last time behind the object that was
/// found or added last, or that one again: a new reference, its text is `*length` bytes. Else null.
json_t* json_folds_guess(JsonFolds* folds, const char* data, size_t size, size_t* length);
/// The object of this text, if one is known: a new reference, or null. `folds` may be null.
json_t* json_folds_find(JsonFolds* folds, const char* text, size_t size);
/// Makes an object (borrowed) known by its text; `cost` is what it takes in memory. `*folds` is made when it
/// is null. Where they are too many or too large, nothing happens.
void json_folds_add(JsonFolds** folds, const char* text, size_t size, json_t* object, size_t cost);
/// Forgets the objects that nobody else holds, if any were added since the last time. Null-safe.
void json_folds_sweep(JsonFolds* folds);
/// Null-safe.
void json_folds_free(JsonFolds* folds);
