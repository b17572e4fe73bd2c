// The one growing array: under text buffers, vectors and every list that grows while it is read.
#pragma once

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <type_traits>

#include "ox_log.hpp"
#include "ox_memory.hpp"

/// A growing array of records that may be copied byte by byte. Zero-filled it is an empty one, so it can
/// stand in plain records; whoever holds it calls `clear` at the end. The storage doubles, so appending stays
/// linear.
template <typename T>
struct ox_array {
    static_assert(std::is_trivially_copyable_v<T>);
    enum : size_t { FIRST = 32 / sizeof(T) > 4 ? 32 / sizeof(T) : 4 };  ///< the least capacity

    T* data;
    size_t size;      ///< elements in use
    size_t capacity;  ///< elements that there is room for

    T* begin() const { return data; }
    T* end() const { return data + size; }
    T& operator[](size_t index) const { return data[index]; }

    /// Makes room for `extra` more elements. False, and nothing is changed, when memory runs out where that
    /// is borne (ox_memory.hpp).
    bool reserve(size_t extra) {
        if (data && extra <= capacity - size) return true;
        size_t limit = static_cast<size_t>(-1) / sizeof(T) / 2;
        if (extra > limit || size > limit) return false;
        size_t wanted = capacity < FIRST ? FIRST : capacity;
        while (wanted < size + extra) wanted *= 2;
        auto* grown = static_cast<T*>(realloc(static_cast<void*>(data), wanted * sizeof(T)));
        if (!grown) ox_memory_failed(__func__);
        if (!grown) return false;
        data = grown;
        capacity = wanted;
        return true;
    }
    /// Appends copies of `count` elements. False, and nothing is changed, when memory runs out.
    bool append(const T* elements, size_t count) {
        if (!reserve(count)) return false;
        if (count > 0) memcpy(static_cast<void*>(data + size), elements, count * sizeof(T));
        size += count;
        return true;
    }
    /// Appends one element; memory that runs out ends the program.
    void push(const T& element) {
        T copy = element;  // it may be one of the array's own
        __ox_log_assert(append(&copy, 1), "data != NULL", "ox_array", __LINE__, __func__, "out of memory");
    }
    /// Releases the storage.
    void clear() {
        free(static_cast<void*>(data));
        data = nullptr;
        size = capacity = 0;
    }
};
