#include <stdlib.h>

#include "ox_log.hpp"
#include "ox_vect.hpp"

struct ox_vect {
    void** items;
    size_t count;
    size_t capacity;
    int (*compare)(const void*, const void*);
    void* (*copy)(const void*);
    void (*destroy)(void*);
};

ox_vect* __ox_vect_init_adv(int (*compare)(const void*, const void*), void* (*copy)(const void*),
                            void (*destroy)(void*), int /*flags*/) {
    auto* vector = static_cast<ox_vect*>(_xmalloc(sizeof(ox_vect), __func__, __LINE__, "ox_vect"));
    *vector = ox_vect{nullptr, 0, 0, compare, copy, destroy};
    return vector;
}

int __ox_vect_add(ox_vect* vector, void* element) {
    if (vector->count == vector->capacity) {
        size_t capacity = vector->capacity ? vector->capacity * 2 : 16;
        auto** items = static_cast<void**>(realloc(vector->items, capacity * sizeof(void*)));
        __ox_log_assert(items != nullptr, "items != NULL", "ox_vect", __LINE__, __func__, "out of memory");
        vector->items = items;
        vector->capacity = capacity;
    }
    vector->items[vector->count++] = vector->copy ? vector->copy(element) : element;
    return 0;
}

void ox_vect_sort(ox_vect* vector) {
    if (!vector->compare || vector->count < 2) return;
    auto by_element = [](const void* left, const void* right, void* context) {
        auto* compare = static_cast<ox_vect*>(context)->compare;
        return compare(*static_cast<void* const*>(left), *static_cast<void* const*>(right));
    };
    qsort_r(vector->items, vector->count, sizeof(void*), by_element, vector);
}

void* ox_vect_get(const ox_vect* vector, size_t index) {
    return index < vector->count ? vector->items[index] : nullptr;
}

void ox_vect_free(ox_vect* vector) {
    if (!vector) return;
    if (vector->destroy) {
        for (size_t i = 0; i < vector->count; ++i) vector->destroy(vector->items[i]);
    }
    free(vector->items);
    free(vector);
}
