#include <stdlib.h>

#include "ox_array.hpp"
#include "ox_log.hpp"
#include "ox_vect.hpp"

struct ox_vect {
    ox_array<void*> items;
    int (*compare)(const void*, const void*);
    void* (*copy)(const void*);
    void (*destroy)(void*);
};

ox_vect* __ox_vect_init_adv(int (*compare)(const void*, const void*), void* (*copy)(const void*),
                            void (*destroy)(void*), int /*flags*/) {
    auto* vector = static_cast<ox_vect*>(_xmalloc(sizeof(ox_vect), __func__, __LINE__, "ox_vect"));
    *vector = ox_vect{{}, compare, copy, destroy};
    return vector;
}

int __ox_vect_add(ox_vect* vector, void* element) {
    vector->items.push(vector->copy ? vector->copy(element) : element);
    return 0;
}

void ox_vect_sort(ox_vect* vector) {
    if (!vector->compare || vector->items.size < 2) return;
    auto by_element = [](const void* left, const void* right, void* context) {
        auto* compare = static_cast<ox_vect*>(context)->compare;
        return compare(*static_cast<void* const*>(left), *static_cast<void* const*>(right));
    };
    qsort_r(vector->items.data, vector->items.size, sizeof(void*), by_element, vector);
}

void* ox_vect_get(const ox_vect* vector, size_t index) {
    return index < vector->items.size ? vector->items[index] : nullptr;
}

void ox_vect_free(ox_vect* vector) {
    if (!vector) return;
    if (vector->destroy) {
        for (void* element : vector->items) vector->destroy(element);
    }
    vector->items.clear();
    free(vector);
}
