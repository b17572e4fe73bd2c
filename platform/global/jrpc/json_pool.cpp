#include "json_pool.hpp"

#include <jansson.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#define OBX_POOL_OFF 1  // the sanitizer is to see each piece
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OBX_POOL_OFF 1
#endif
#endif

#ifdef OBX_POOL_OFF

void json_pool_begin(void) {}
void json_pool_end(void) {}

#else

namespace {

constexpr size_t SLAB_SIZE = 64 << 10;
constexpr size_t SLAB_COUNT = sizeof(void*) > 4 ? 16384 : 1024;
constexpr size_t GRAIN = 8;
constexpr size_t PIECE_MAX = 256;
constexpr uint32_t NONE = UINT32_MAX;

/// A released piece holds the next one of its slab.
struct Piece {
    Piece* next;
};

struct Slab {
    Piece* released;
    uint32_t used;   ///< pieces in use
    uint32_t fresh;  ///< offset of the first byte that was never handed out
    uint32_t size;   ///< of a piece
    uint32_t next;   ///< of the slabs that are free, or have room for pieces of this size
    uint32_t previous;
    bool listed;
};

char* area = nullptr;
Slab slabs[SLAB_COUNT];
uint32_t slabs_begun = 0;  ///< slabs that were ever used
uint32_t free_slabs = NONE;
uint32_t open_slabs[PIECE_MAX / GRAIN + 1];  ///< by size: slabs with room
bool pooling = false;

bool is_pooled(const void* pointer) {
    auto offset = reinterpret_cast<uintptr_t>(pointer) - reinterpret_cast<uintptr_t>(area);
    return area && offset < SLAB_SIZE * SLAB_COUNT;
}

void list_slab(uint32_t index) {
    uint32_t* head = &open_slabs[slabs[index].size / GRAIN];
    slabs[index].previous = NONE;
    slabs[index].next = *head;
    if (*head != NONE) slabs[*head].previous = index;
    *head = index;
    slabs[index].listed = true;
}

void unlist_slab(uint32_t index) {
    Slab* slab = &slabs[index];
    if (slab->previous != NONE) {
        slabs[slab->previous].next = slab->next;
    } else {
        open_slabs[slab->size / GRAIN] = slab->next;
    }
    if (slab->next != NONE) slabs[slab->next].previous = slab->previous;
    slab->listed = false;
}

/// A slab for pieces of a size; NONE when the range is used up.
uint32_t open_slab(size_t size) {
    uint32_t index = free_slabs;
    if (index != NONE) {
        free_slabs = slabs[index].next;
    } else if (slabs_begun < SLAB_COUNT) {
        index = slabs_begun++;
    } else {
        return NONE;
    }
    slabs[index] = Slab{};
    slabs[index].size = static_cast<uint32_t>(size);
    list_slab(index);
    return index;
}

void* take(size_t size) {
    size = (size + GRAIN - 1) / GRAIN * GRAIN;
    uint32_t index = open_slabs[size / GRAIN];
    if (index == NONE) index = open_slab(size);
    if (index == NONE) return nullptr;
    Slab* slab = &slabs[index];
    void* piece = slab->released;
    if (piece) {
        slab->released = slab->released->next;
    } else {
        piece = area + index * SLAB_SIZE + slab->fresh;
        slab->fresh += slab->size;
    }
    ++slab->used;
    if (!slab->released && slab->fresh + slab->size > SLAB_SIZE) unlist_slab(index);
    return piece;
}

void give_back(void* pointer) {
    auto index = static_cast<uint32_t>(static_cast<size_t>(static_cast<char*>(pointer) - area) / SLAB_SIZE);
    Slab* slab = &slabs[index];
    auto* piece = static_cast<Piece*>(pointer);
    piece->next = slab->released;
    slab->released = piece;
    if (!slab->listed) list_slab(index);
    if (--slab->used > 0) return;
    unlist_slab(index);
    madvise(area + index * SLAB_SIZE, SLAB_SIZE, MADV_DONTNEED);
    slab->next = free_slabs;
    free_slabs = index;
}

void* allocate(size_t size) {
    void* piece = pooling && size > 0 && size <= PIECE_MAX ? take(size) : nullptr;
    return piece ? piece : malloc(size);
}

void release(void* pointer) {
    if (is_pooled(pointer)) {
        give_back(pointer);
    } else {
        free(pointer);
    }
}

bool reserve() {
    void* range = mmap(nullptr, SLAB_SIZE * SLAB_COUNT, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (range == MAP_FAILED) return false;
    for (uint32_t& head : open_slabs) head = NONE;
    area = static_cast<char*>(range);
    json_set_alloc_funcs(allocate, release);
    return true;
}

}  // namespace

void json_pool_begin(void) {
    pooling = area || reserve();
}

void json_pool_end(void) {
    pooling = false;
}

#endif
