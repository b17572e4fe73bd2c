// The bytes received on a connection, and where in them a JSON object ends.
//
// The end is looked for byte by byte and only once, however the bytes arrive: a message costs its length.
#pragma once

#include <jansson.h>
#include <stddef.h>

/// A message is at most this long.
enum { FRAME_MESSAGE_MAX = 64 << 20 };

/// Zero-initialised: empty.
struct FrameReader {
    char* data;
    size_t size;      ///< bytes held
    size_t capacity;  ///< bytes allocated
    size_t start;     ///< first byte that no message has taken yet
    size_t scanned;   ///< the search has come this far
    size_t depth;     ///< braces open at `scanned`
    bool in_string;
    bool escaped;
    bool whole;  ///< a whole object stands from `start` to `scanned`
};

/// Room for bytes to come: at least `least` bytes, `*room` of them. Null when memory runs out.
char* frame_room(FrameReader* reader, size_t least, size_t* room);
/// Counts `size` bytes that were written into the room.
void frame_added(FrameReader* reader, size_t size);
/// Goes on with the search: OX_SOCKET_OK when a whole object is there, OX_SOCKET_EEMPTY, OX_SOCKET_EPARTIAL,
/// or OX_SOCKET_EPROTO when the bytes begin no object or it is too long.
int frame_find(FrameReader* reader);
/// The object that was found: its bytes.
const char* frame_text(const FrameReader* reader, size_t* size);
/// The object that was found, parsed: a new reference, or null when it is broken. Its text may be gone
/// afterwards (`*text_kept` tells). `error` may be null.
json_t* frame_parse(FrameReader* reader, bool* text_kept, json_error_t* error = nullptr);
/// Removes the object that was found.
void frame_consume(FrameReader* reader);
/// Drops all bytes and releases the storage.
void frame_reset(FrameReader* reader);
