// Memory of Lua code: it never takes the last of it.
//
// What this process does for the code (requests, output, errors that are told) needs memory too, and cannot
// be undone half-way. So Lua is refused a block when a reserve would not be left, and raises its error while
// there is room to tell it.
#include "memory.hpp"

#include <stdint.h>
#include <stdlib.h>

#include "ox_memory.hpp"

namespace {

// The reserve is probed in pieces, which come from the heap: a large block would be mapped, and succeed or
// fail whatever the heap has free.
enum { PIECE = 96 << 10, PIECES = 8 };
enum { STEP = 128 << 10 };  // bytes that may be allocated between two probes

/// Whether the reserve is free beside `size` bytes.
bool has_room(size_t size) {
    void* pieces[PIECES + 1];
    int count = 0;
    bool room = true;
    for (; room && count <= PIECES; ++count) {
        pieces[count] = malloc(count == 0 ? size : static_cast<size_t>(PIECE));
        room = pieces[count] != nullptr;
    }
    while (count > 0) free(pieces[--count]);
    return room;
}

void* allocate_now(LuaContext* context, void* block, size_t old_size, size_t size) {
    if (size == 0) {
        free(block);
        return nullptr;
    }
    if (!block) old_size = 0;  // for a new block Lua passes the kind of object there
    if (size > old_size && !context->holds) {
        context->taken += size - old_size;
        if (context->taken >= STEP) {
            // `taken` stays as it is after a refusal, so that each further block is probed too.
            if (!has_room(size)) return nullptr;
            context->taken = 0;
        }
    }
    void* moved = realloc(block, size);
    return moved || size > old_size ? moved : block;  // Lua relies on shrinking
}

void* allocate(void* data, void* block, size_t old_size, size_t size) {
    auto* context = static_cast<LuaContext*>(data);
    context->in_heap = 1;
    void* given = allocate_now(context, block, old_size, size);
    context->in_heap = 0;
    if (context->heap_left) {
        auto* left = context->heap_left;
        context->heap_left = nullptr;
        left();
    }
    return given;
}

void short_hook(lua_State* L, lua_Debug*) {
    lua_sethook(L, nullptr, 0, 0);
    if (context_of(L)->stopped) stop_error(L);
    raise_memory(L);
}

}  // namespace

void raise_memory(lua_State* L) {
    // Only Lua can raise its error for memory, so it is asked for a block that no machine has.
    for (;;) lua_newuserdata(L, PTRDIFF_MAX / 2);
}

void check_memory(lua_State* L) {
    if (ox_memory_take_failure()) raise_memory(L);
}

void memory_open(LuaContext* context) {
    lua_setallocf(context->L, allocate, context);
}

void memory_short(LuaContext* context) {
    lua_sethook(context->running, short_hook, LUA_MASKCALL | LUA_MASKRET | LUA_MASKCOUNT, 1);
}
