#include "json_folds.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace {

enum {
    PLACES_FIRST = 64,
    PLACES_MAX = 8192,
    COST_MAX = 8 << 20,  ///< texts and objects together
};

enum : uint32_t { NOWHERE = UINT32_MAX };

struct Fold {
    char* text;  // null: nothing is known here
    size_t size;
    size_t cost;
    json_t* object;
    uint32_t hash;
    uint32_t next;  // where the one that followed it is
};

uint32_t hash_of(const char* text, size_t size) {
    uint32_t hash = 2166136261U;
    for (size_t i = 0; i < size; ++i) hash = (hash ^ static_cast<unsigned char>(text[i])) * 16777619U;
    return hash;
}

void forget(Fold* fold) {
    free(fold->text);
    json_decref(fold->object);
    *fold = Fold{};
}

}  // namespace

/// A table with open addressing, at most half full.
struct JsonFolds {
    Fold* places;
    uint32_t count;  // a power of two
    uint32_t used;
    uint32_t last;  // found or added last
    size_t cost;
    bool added;
};

namespace {

/// Where the text is, or the free place where it belongs.
uint32_t place_of(const JsonFolds* folds, const char* text, size_t size, uint32_t hash) {
    uint32_t at = hash & (folds->count - 1);
    for (;; at = (at + 1) & (folds->count - 1)) {
        const Fold& fold = folds->places[at];
        if (!fold.text) return at;
        if (fold.hash == hash && fold.size == size && memcmp(fold.text, text, size) == 0) return at;
    }
}

/// Moves everything into a table of `count` places. False, and nothing is changed, when memory runs out.
bool rebuild(JsonFolds* folds, uint32_t count) {
    auto* places = static_cast<Fold*>(calloc(count, sizeof(Fold)));
    if (!places) return false;
    Fold* old = folds->places;
    uint32_t old_count = folds->count;
    folds->places = places;
    folds->count = count;
    folds->last = NOWHERE;
    for (uint32_t i = 0; i < old_count; ++i) {
        if (!old[i].text) continue;
        Fold* fold = &places[place_of(folds, old[i].text, old[i].size, old[i].hash)];
        *fold = old[i];
        fold->next = NOWHERE;
    }
    free(old);
    return true;
}

bool make_room(JsonFolds** folds) {
    if (!*folds) {
        *folds = static_cast<JsonFolds*>(calloc(1, sizeof(JsonFolds)));
        if (!*folds) return false;
        (*folds)->last = NOWHERE;
    }
    JsonFolds* table = *folds;
    if (table->count == 0) return rebuild(table, PLACES_FIRST);
    if (table->used < table->count / 2) return true;
    return table->count < PLACES_MAX && rebuild(table, table->count * 2);
}

/// The one at `at` follows the last one.
json_t* follow(JsonFolds* folds, uint32_t at) {
    if (folds->last != NOWHERE) folds->places[folds->last].next = at;
    folds->last = at;
    return folds->places[at].object;
}

}  // namespace

size_t json_folds_length(const char* data, size_t size) {
    size_t depth = 0;
    bool in_string = false;
    for (size_t i = 0; i < size; ++i) {
        char c = data[i];
        if (in_string) {
            if (c == '\\') ++i;
            if (c == '"') in_string = false;
        } else if (c == '"') {
            in_string = true;
        } else if (c == '{') {
            ++depth;
        } else if (c == '}' && --depth == 0) {
            return i + 1;
        }
    }
    return 0;
}

json_t* json_folds_guess(JsonFolds* folds, const char* data, size_t size, size_t* length) {
    if (!folds || folds->last == NOWHERE) return nullptr;
    const uint32_t likely[] = {folds->places[folds->last].next, folds->last};
    for (uint32_t at : likely) {
        if (at == NOWHERE) continue;
        const Fold& fold = folds->places[at];
        if (fold.size > size || memcmp(fold.text, data, fold.size) != 0) continue;
        *length = fold.size;
        return json_incref(follow(folds, at));
    }
    return nullptr;
}

json_t* json_folds_find(JsonFolds* folds, const char* text, size_t size) {
    if (!folds || folds->count == 0) return nullptr;
    uint32_t at = place_of(folds, text, size, hash_of(text, size));
    return folds->places[at].text ? json_incref(follow(folds, at)) : nullptr;
}

void json_folds_add(JsonFolds** folds, const char* text, size_t size, json_t* object, size_t cost) {
    if (*folds && (*folds)->cost + cost + size > COST_MAX) return;
    if (!make_room(folds)) return;
    auto* copy = static_cast<char*>(malloc(size));
    if (!copy) return;
    memcpy(copy, text, size);
    JsonFolds* table = *folds;
    uint32_t hash = hash_of(text, size);
    uint32_t at = place_of(table, text, size, hash);
    forget(&table->places[at]);
    table->places[at] = {copy, size, cost + size, json_incref(object), hash, NOWHERE};
    table->cost += cost + size;
    ++table->used;
    table->added = true;
    follow(table, at);
}

void json_folds_sweep(JsonFolds* folds) {
    if (!folds || !folds->added) return;
    folds->added = false;
    uint32_t before = folds->used;
    for (uint32_t i = 0; i < folds->count; ++i) {
        Fold* fold = &folds->places[i];
        if (!fold->text || fold->object->refcount > 1) continue;
        folds->cost -= fold->cost;
        forget(fold);
        --folds->used;
    }
    if (folds->used == before) return;
    uint32_t count = PLACES_FIRST;
    while (count / 2 <= folds->used) count *= 2;
    // The places that were left are in the way of nothing only in a new table.
    if (rebuild(folds, count)) return;
    for (uint32_t i = 0; i < folds->count; ++i) forget(&folds->places[i]);
    folds->used = 0;
    folds->cost = 0;
    folds->last = NOWHERE;
}

void json_folds_free(JsonFolds* folds) {
    if (!folds) return;
    for (uint32_t i = 0; i < folds->count; ++i) forget(&folds->places[i]);
    free(folds->places);
    free(folds);
}
