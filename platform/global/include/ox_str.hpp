// Growable byte arrays, and text buffers on top of them.
#pragma once

#include <jansson.h>
#include <stddef.h>

#include "ox_array.hpp"

/// A growable array of bytes. As a text buffer `size` counts the terminating zero; it is 0 while nothing was
/// added.
struct ox_dynarray : ox_array<char> {};
using ox_str = ox_dynarray;

/// A new array with room for `reserve` bytes; size 0. Never null.
ox_dynarray* ox_dynarray_init_reserved(size_t reserve);
/// The bytes; "" while the array is empty. Valid until the next change.
const char* ox_dynarray_get(const ox_dynarray* array);
/// The bytes as they are, without the guard for an empty array: null while nothing was ever added.
char* ox_dynarray_get_unsafe(ox_dynarray* array);
/// Bytes in use (for a text: its length plus one; 0 for an empty buffer).
size_t ox_dynarray_size(const ox_dynarray* array);
/// Removes `count` bytes from `start` on (less where the array ends earlier).
void ox_dynarray_cut(ox_dynarray* array, size_t start, size_t count);

ox_str* ox_str_init(void);
ox_str* ox_str_init_chars(const char* text);
/// Null-safe.
void ox_str_free(ox_str* str);
void ox_str_add(ox_str* str, const char* text);
/// Appends `length` bytes, zeros included, and keeps a terminating zero behind them.
void ox_str_add_n(ox_str* str, const char* text, size_t length);
/// Length of the text in bytes (0 when empty).
size_t ox_str_length(const ox_str* str);
/// Empties the text and keeps the storage.
void ox_str_clear(ox_str* str);
/// Replaces the whole text.
void ox_str_replace_text(ox_str* str, const char* text);
/// Replaces the text by the formatted one.
void ox_str_printf(ox_str* str, const char* format, ...) __attribute__((format(printf, 2, 3)));
void ox_str_printf_append(ox_str* str, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// A new heap text (the caller frees it with free); never null, except where a failure is borne
/// (ox_memory.hpp).
char* ox_str_printf_new(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// The array's strings joined by `separator` in a new buffer; null when `array` is no array or holds no
/// string.
ox_str* ox_str_json_join(const json_t* array, const char* separator);
