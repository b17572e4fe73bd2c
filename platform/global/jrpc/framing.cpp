#include "framing.hpp"

#include <string.h>

#include "ox_memory.hpp"
#include "ox_socket.hpp"

namespace {

enum {
    TEXT_MAX = 64 << 10,       ///< the text of a longer message is dropped as it is read
    KEPT_CAPACITY = 64 << 10,  ///< an idle connection keeps no more than this
};

bool is_blank(char byte) {
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

/// Drops the bytes before `from`.
void drop(FrameReader* reader, size_t from) {
    ox_array<char>* bytes = &reader->bytes;
    if (from > 0) memmove(bytes->data, bytes->data + from, bytes->size - from);
    bytes->size -= from;
    reader->parsed -= from;
    reader->start -= from;
}

bool is_begun(const FrameReader* reader) {
    return reader->json.root != nullptr;
}

/// Goes to the begin of the next object: EPARTIAL when there is one.
int find_begin(FrameReader* reader) {
    const ox_array<char>& bytes = reader->bytes;
    while (reader->start < bytes.size && is_blank(bytes[reader->start])) ++reader->start;
    reader->parsed = reader->start;
    if (reader->start < bytes.size) return OX_SOCKET_EPARTIAL;
    reader->start = reader->parsed = reader->bytes.size = 0;
    return OX_SOCKET_EEMPTY;
}

}  // namespace

char* frame_room(FrameReader* reader, size_t least, size_t* room) {
    ox_array<char>* bytes = &reader->bytes;
    bool tight = bytes->capacity - bytes->size < least;
    if (tight && reader->start > 0 && reader->start >= bytes->size - reader->start)
        drop(reader, reader->start);
    if (!bytes->reserve(least)) return nullptr;
    *room = bytes->capacity - bytes->size;
    return bytes->data + bytes->size;
}

void frame_added(FrameReader* reader, size_t size) {
    reader->bytes.size += size;
}

int frame_find(FrameReader* reader) {
    if (reader->state == JSON_READER_WHOLE) return OX_SOCKET_OK;
    if (reader->state != JSON_READER_MORE) return OX_SOCKET_EPROTO;
    if (!is_begun(reader) && find_begin(reader) == OX_SOCKET_EEMPTY) return OX_SOCKET_EEMPTY;
    const ox_array<char>& bytes = reader->bytes;
    size_t taken = 0;
    ox_memory_take_failure();
    int state =
        json_reader_feed(&reader->json, bytes.data + reader->parsed, bytes.size - reader->parsed, &taken);
    reader->parsed += taken;
    reader->no_memory = ox_memory_take_failure();
    size_t end = state == JSON_READER_WHOLE ? reader->parsed : bytes.size;
    reader->too_long = reader->dropped + end - reader->start > FRAME_MESSAGE_MAX;
    reader->state = reader->too_long ? static_cast<int>(JSON_READER_BROKEN) : state;
    if (reader->state == JSON_READER_WHOLE) return OX_SOCKET_OK;
    if (reader->state != JSON_READER_MORE) return OX_SOCKET_EPROTO;
    if (reader->dropped + reader->parsed - reader->start >= TEXT_MAX) {
        reader->dropped += reader->parsed - reader->start;
        reader->start = reader->parsed;
        drop(reader, reader->start);
    }
    return OX_SOCKET_EPARTIAL;
}

const char* frame_begin(const FrameReader* reader, size_t* size) {
    *size = reader->dropped == 0 ? reader->bytes.size - reader->start : 0;
    return reader->bytes.data + reader->start;
}

frame_fault frame_fault_of(const FrameReader* reader) {
    if (reader->no_memory) return FRAME_MEMORY;
    if (reader->too_long) return FRAME_LONG;
    if (reader->state == JSON_READER_LARGE) return FRAME_LARGE;
    return reader->state == JSON_READER_NUMBER ? FRAME_NUMBER : FRAME_BROKEN;
}

json_t* frame_json(FrameReader* reader) {
    return json_reader_take(&reader->json);
}

const char* frame_text(const FrameReader* reader, size_t* size) {
    *size = reader->parsed - reader->start;
    return reader->dropped == 0 ? reader->bytes.data + reader->start : nullptr;
}

void frame_consume(FrameReader* reader) {
    json_decref(json_reader_take(&reader->json));
    reader->state = JSON_READER_MORE;
    reader->start = reader->parsed;
    reader->dropped = 0;
    if (reader->start < reader->bytes.size) return;
    reader->start = reader->parsed = reader->bytes.size = 0;
    if (reader->bytes.capacity > KEPT_CAPACITY) reader->bytes.clear();
}

void frame_reset(FrameReader* reader) {
    json_reader_reset(&reader->json);
    reader->bytes.clear();
    JsonReader json = reader->json;
    *reader = FrameReader{};
    reader->json = json;
}
