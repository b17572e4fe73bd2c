// The bytes received on a connection, and the JSON objects that they are.
//
// An object is built while its bytes arrive: a message costs its length, and of a long one the text is never
// held as a whole.
#pragma once

#include "json_reader.hpp"

/// A message is at most this long.
enum { FRAME_MESSAGE_MAX = 64 << 20 };

/// Zero-initialised: empty.
struct FrameReader {
    ox_array<char> bytes;  ///< from `start` on no message has taken them yet
    size_t start;
    size_t parsed;   ///< the object at `start` was read as far as here
    size_t dropped;  ///< bytes of that object that are no longer held
    JsonReader json;
    int state;  ///< JSON_READER_WHOLE: a whole object is there; broken ones stay so
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
/// Whether the broken object has a number beyond 64 bits.
bool frame_has_big_number(const FrameReader* reader);
/// Takes the object that was found, once: the caller owns it.
json_t* frame_json(FrameReader* reader);
/// The text of the object that was found; null where it was too long to be held.
const char* frame_text(const FrameReader* reader, size_t* size);
/// Removes the object that was found.
void frame_consume(FrameReader* reader);
/// Drops all bytes and releases the storage.
void frame_reset(FrameReader* reader);
