// Plain C strings: bounded copies, numbers, hashes, sorting of JSON string arrays.
#pragma once

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>

/// Copies at most `size` - 1 bytes and terminates; returns the length of `src`. `size` 0 writes nothing.
size_t ox_string_strlcpy(char* dst, const char* src, size_t size);
/// Appends within a buffer of `size` bytes; returns the length that the whole text would have.
size_t ox_string_strlcat(char* dst, const char* src, size_t size);

/// Numbers from the first `length` bytes of `text` (-1: up to its end). The whole text must be the number: no
/// blanks before or after, no sign for the unsigned one, no overflow, nothing infinite. `base` 0 takes the
/// base from the prefix ("0x", "0"). Return 0 and store the value, or -1 and leave `out` alone.
int ox_string_strntoul(const char* text, int length, int base, uint64_t* out);
int ox_string_strntol(const char* text, int length, int base, int64_t* out);
int ox_string_strntod(const char* text, int length, double* out);

/// 32-bit hash of a zero-terminated text; null is accepted (its hash is 0) and never equal to anything by
/// meaning.
uint32_t ox_string_get_hash(const char* text);

enum ox_sort_order {
    OX_SORT_DESCENDING = 0,
    OX_SORT_ASCENDING = 1,  ///< byte by byte, smallest first
    OX_SORT_PATHS = 2,      ///< as dotted paths: components that are numbers by their value and first
};
/// Sorts a JSON array of strings in place. Elements that are no strings come last.
void ox_qsort_json(json_t* array, int order);
