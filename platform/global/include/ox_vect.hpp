// A growable vector of pointers that can own and sort what it holds.
#pragma once

#include <stddef.h>

struct ox_vect;

/// `compare` orders two elements as for qsort, given the elements themselves. `copy` (may be null) copies an
/// added element, `destroy` (may be null) releases one when the vector is freed. `flags` is 0.
ox_vect* __ox_vect_init_adv(int (*compare)(const void*, const void*), void* (*copy)(const void*),
                            void (*destroy)(void*), int flags);
/// Appends; returns 0.
int __ox_vect_add(ox_vect* vector, void* element);
void ox_vect_sort(ox_vect* vector);
/// Null past the end.
void* ox_vect_get(const ox_vect* vector, size_t index);
/// Null-safe.
void ox_vect_free(ox_vect* vector);
