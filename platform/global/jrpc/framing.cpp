#include "framing.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "json_pool.hpp"
#include "ox_socket.hpp"

namespace {

enum {
    FIRST_CAPACITY = 4096,
    KEPT_CAPACITY = 64 << 10,  ///< an idle connection keeps no more than this
    BIG_MESSAGE = 1 << 20,     ///< from here on a text is given back page by page while it is parsed
    RELEASE_STEP = 256 << 10,
};

bool is_blank(char byte) {
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

/// Moves the untaken bytes to the front.
void compact(FrameReader* reader) {
    memmove(reader->data, reader->data + reader->start, reader->size - reader->start);
    reader->size -= reader->start;
    reader->scanned -= reader->start;
    reader->start = 0;
}

/// The first byte from `from` on that ends a string or escapes in it; `size` when there is none.
size_t string_stop(const char* data, size_t from, size_t size) {
    while (from < size && data[from] != '"' && data[from] != '\\') ++from;
    return from;
}

/// A text that is parsed piece by piece and given back to the system as it goes.
struct BigText {
    char* data;
    size_t size;
    size_t taken;
    size_t released;
};

/// The pages of the text that are parsed and inside of it only.
void release_pages(BigText* text) {
    auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_t lead = page - reinterpret_cast<uintptr_t>(text->data) % page;  // to the first page boundary inside
    if (text->taken < lead + page) return;
    size_t from = text->released < lead ? lead : lead + (text->released - lead) / page * page;
    size_t to = lead + (text->taken - lead) / page * page;
    text->released = text->taken;
    if (to > from) madvise(text->data + from, to - from, MADV_DONTNEED);
}

size_t take_text(void* buffer, size_t room, void* context) {
    auto* text = static_cast<BigText*>(context);
    size_t size = text->size - text->taken < room ? text->size - text->taken : room;
    memcpy(buffer, text->data + text->taken, size);
    text->taken += size;
    if (text->taken - text->released >= RELEASE_STEP) release_pages(text);
    return size;
}

}  // namespace

char* frame_room(FrameReader* reader, size_t least, size_t* room) {
    if (reader->capacity - reader->size < least && reader->start >= reader->size - reader->start &&
        reader->start > 0) {
        compact(reader);
    }
    if (reader->capacity - reader->size < least) {
        size_t capacity = reader->capacity ? reader->capacity * 2 : size_t{FIRST_CAPACITY};
        while (capacity - reader->size < least) capacity *= 2;
        auto* data = static_cast<char*>(realloc(reader->data, capacity));
        if (!data) return nullptr;
        reader->data = data;
        reader->capacity = capacity;
    }
    *room = reader->capacity - reader->size;
    return reader->data + reader->size;
}

void frame_added(FrameReader* reader, size_t size) {
    reader->size += size;
}

int frame_find(FrameReader* reader) {
    if (reader->whole) return OX_SOCKET_OK;
    const char* data = reader->data;
    if (reader->depth == 0) {
        while (reader->start < reader->size && is_blank(data[reader->start])) ++reader->start;
        reader->scanned = reader->start;
        if (reader->start == reader->size) {
            reader->start = reader->scanned = reader->size = 0;
            return OX_SOCKET_EEMPTY;
        }
        if (data[reader->start] != '{') return OX_SOCKET_EPROTO;
    }
    size_t i = reader->scanned;
    for (; i < reader->size && !reader->whole; ++i) {
        if (reader->escaped) {
            reader->escaped = false;
        } else if (reader->in_string) {
            i = string_stop(data, i, reader->size);
            if (i == reader->size) break;
            reader->in_string = data[i] != '"';
            reader->escaped = data[i] == '\\';
        } else if (data[i] == '"') {
            reader->in_string = true;
        } else if (data[i] == '{') {
            ++reader->depth;
        } else if (data[i] == '}') {
            reader->whole = --reader->depth == 0;
        }
    }
    reader->scanned = i;
    if (i - reader->start > FRAME_MESSAGE_MAX) return OX_SOCKET_EPROTO;
    return reader->whole ? OX_SOCKET_OK : OX_SOCKET_EPARTIAL;
}

const char* frame_text(const FrameReader* reader, size_t* size) {
    *size = reader->scanned - reader->start;
    return reader->data + reader->start;
}

json_t* frame_parse(FrameReader* reader, bool* text_kept, json_error_t* error) {
    char* data = reader->data + reader->start;
    size_t size = reader->scanned - reader->start;
    *text_kept = size < BIG_MESSAGE;
    if (*text_kept) return json_loadb(data, size, JSON_ALLOW_NUL, error);
    BigText text = {data, size, 0, 0};
    json_pool_begin();
    json_t* json = json_load_callback(take_text, &text, JSON_ALLOW_NUL, error);
    json_pool_end();
    return json;
}

void frame_consume(FrameReader* reader) {
    reader->start = reader->scanned;
    reader->whole = false;
    if (reader->start < reader->size) return;
    reader->start = reader->scanned = reader->size = 0;
    if (reader->capacity > KEPT_CAPACITY) frame_reset(reader);
}

void frame_reset(FrameReader* reader) {
    free(reader->data);
    *reader = FrameReader{};
}
