// What the connections need to know of messages beyond the public header.
#pragma once

#include "ox_jrpcmsg.hpp"

/// A message of a JSON value (the reference is taken over, dropped on failure): null when it is no valid
/// JSON-RPC 2.0 message or memory runs out.
ox_jrpcmsg* jrpcmsg_adopt(json_t* json);
/// The kind of a JSON value as a message (ox_jrpcmsg_kind), 0 when it is none.
int jrpcmsg_kind_of(const json_t* json);
/// A copy that shares the JSON values inside; null when memory runs out.
ox_jrpcmsg* jrpcmsg_clone(const ox_jrpcmsg* message);
/// A JSON string of any bytes: what is no UTF-8 becomes U+FFFD. Null gives null.
json_t* jrpcmsg_text(const char* text);
