#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ox_log.hpp"
#include "ox_memory.hpp"
#include "ox_str.hpp"

namespace {

/// Room for `extra` more bytes behind those in use.
void grow(ox_dynarray* array, size_t extra) {
    __ox_log_assert(array->reserve(extra), "data != NULL", "ox_str", __LINE__, __func__, "out of memory");
}

/// Where a text continues: the place of its terminating zero.
size_t text_end(const ox_str* str) {
    return str->size > 0 ? str->size - 1 : 0;
}

__attribute__((format(printf, 2, 0))) void vprintf_append(ox_str* str, const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    int length = vsnprintf(nullptr, 0, format, args);
    if (length >= 0) {
        size_t end = text_end(str);
        size_t size = static_cast<size_t>(length) + 1;
        grow(str, size);
        vsnprintf(str->data + end, size, format, again);
        str->size = end + size;
    }
    va_end(again);
}

}  // namespace

ox_dynarray* ox_dynarray_init_reserved(size_t reserve) {
    auto* array = static_cast<ox_dynarray*>(calloc(1, sizeof(ox_dynarray)));
    __ox_log_assert(array != nullptr, "array != NULL", "ox_str", __LINE__, __func__, "out of memory");
    if (reserve > 0) grow(array, reserve);
    return array;
}

const char* ox_dynarray_get(const ox_dynarray* array) {
    return array && array->size > 0 ? array->data : "";
}

char* ox_dynarray_get_unsafe(ox_dynarray* array) {
    return array->data;
}

size_t ox_dynarray_size(const ox_dynarray* array) {
    return array ? array->size : 0;
}

void ox_dynarray_cut(ox_dynarray* array, size_t start, size_t count) {
    if (start >= array->size) return;
    size_t left = array->size - start;
    if (count > left) count = left;
    memmove(array->data + start, array->data + start + count, left - count);
    array->size -= count;
}

ox_str* ox_str_init(void) {
    return ox_dynarray_init_reserved(0);
}

ox_str* ox_str_init_chars(const char* text) {
    ox_str* str = ox_str_init();
    ox_str_add(str, text);
    return str;
}

void ox_str_free(ox_str* str) {
    if (!str) return;
    free(str->data);
    free(str);
}

void ox_str_add(ox_str* str, const char* text) {
    ox_str_add_n(str, text, strlen(text));
}

void ox_str_add_n(ox_str* str, const char* text, size_t length) {
    size_t end = text_end(str);
    grow(str, length + 1);
    memcpy(str->data + end, text, length);
    str->data[end + length] = '\0';
    str->size = end + length + 1;
}

size_t ox_str_length(const ox_str* str) {
    return str ? text_end(str) : 0;
}

void ox_str_clear(ox_str* str) {
    str->size = 0;
}

void ox_str_replace_text(ox_str* str, const char* text) {
    ox_str_clear(str);
    ox_str_add(str, text);
}

void ox_str_printf(ox_str* str, const char* format, ...) {
    va_list args;
    va_start(args, format);
    ox_str_clear(str);
    vprintf_append(str, format, args);
    va_end(args);
}

void ox_str_printf_append(ox_str* str, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprintf_append(str, format, args);
    va_end(args);
}

char* ox_str_printf_new(const char* format, ...) {
    va_list args;
    va_start(args, format);
    char* text = nullptr;
    int length = vasprintf(&text, format, args);
    va_end(args);
    if (length >= 0) return text;
    ox_memory_failed(__func__);
    return nullptr;
}

ox_str* ox_str_json_join(const json_t* array, const char* separator) {
    ox_str* joined = nullptr;
    size_t index = 0;
    json_t* item = nullptr;
    json_array_foreach(array, index, item) {
        if (!json_is_string(item)) continue;
        if (joined) {
            ox_str_add(joined, separator);
        } else {
            joined = ox_str_init();
        }
        ox_str_add_n(joined, json_string_value(item), json_string_length(item));
    }
    return joined;
}
