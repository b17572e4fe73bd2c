// The bytes received on a connection, and the JSON objects that they are.
//
// An object is built while its bytes arrive: a message costs its length, and of a long one the text is never
// held as a whole.
#pragma once

#include "json_reader.hpp"

/// A message is at most this long.
enum { FRAME_MESSAGE_MAX = 64 << 20 };

/// Why no object can come of the bytes.
enum frame_fault {
    FRAME_BROKEN,  ///< they are none
    FRAME_MEMORY,  ///< memory ran out, where that is borne (ox_memory.hpp)
    FRAME_NUMBER,  ///< a number is beyond 64 bits
    FRAME_LONG,    ///< it is longer than FRAME_MESSAGE_MAX
    FRAME_LARGE,   ///< it takes too much memory
};

/// Zero-initialised: empty.
struct FrameReader {
    ox_array<char> bytes;  ///< from `start` on no message has taken them yet
    size_t start;
    size_t parsed;   ///< the object at `start` was read as far as here
    size_t dropped;  ///< bytes of that object that are no longer held
    JsonReader json;
    int state;       ///< JSON_READER_WHOLE: a whole object is there; broken ones stay so
    bool too_long;   ///< which is why it is broken
    bool no_memory;  ///< or this is
};

/// Room for bytes to come: at least `least` bytes, `*room` of them. Null when memory runs out.
char* frame_room(FrameReader* reader, size_t least, size_t* room);
/// Counts `size` bytes that were written into the room.
void frame_added(FrameReader* reader, size_t size);
/// Goes on reading: OX_SOCKET_OK when a whole object is there, OX_SOCKET_EEMPTY, OX_SOCKET_EPARTIAL, or
/// OX_SOCKET_EPROTO when the bytes are no object or it is too long.
int frame_find(FrameReader* reader);
/// The bytes from the begin of the object on, those that are held: none where its begin is not.
const char* frame_begin(const FrameReader* reader, size_t* size);
/// Why the object is broken, once frame_find has said so.
frame_fault frame_fault_of(const FrameReader* reader);
/// Takes the object that was found, once: the caller owns it.
json_t* frame_json(FrameReader* reader);
/// The text of the object that was found; null where it was too long to be held.
const char* frame_text(const FrameReader* reader, size_t* size);
/// Removes the object that was found.
void frame_consume(FrameReader* reader);
/// Drops all bytes and releases the storage; who chooses the takers of lists stays.
void frame_reset(FrameReader* reader);
