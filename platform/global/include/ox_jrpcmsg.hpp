// JSON-RPC messages: creation, and what a response brought back.
//
// Accessors return borrowed values that live as long as the message.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include "ox_raii.hpp"

enum ox_jrpcmsg_kind {
    OX_JRPCMSG_REQUEST = 1,
    OX_JRPCMSG_NOTIFICATION = 2,
    OX_JRPCMSG_EVENT = 3,
    OX_JRPCMSG_ERROR = 4,
    OX_JRPCMSG_RESULT = 5,
};

/// One message. After an exchange it holds the request and its response. Read the fields, change them by
/// functions.
struct ox_jrpcmsg {
    json_t* json;               ///< owned: the message's members, request first, then "result" or "error"
    int32_t error_code;         ///< 0: success
    const char* error_message;  ///< borrowed from `json`, or null
    const char* error_detail;   ///< borrowed from `json`: "Detail" of the error data, or null
    uint32_t group;             ///< an event's group, 0 for any other message
    json_t* error_data;         ///< owned: the error data without "Detail", or null
    bool numbered;              ///< the id is the library's: each exchange sets a new one
};

/// A request of any method. Takes over `params` (may be null).
ox_jrpcmsg* ox_jrpcmsg_create_new(const char* method, json_t* params);
/// An event for a group. Takes over `params` (may be null).
ox_jrpcmsg* ox_jrpcmsg_create_event_new(uint32_t group, json_t* params);
/// A message from a JSON value (borrowed; the message keeps references): null when it is no valid
/// JSON-RPC 2.0 message.
ox_jrpcmsg* ox_jrpcmsg_parse_json(json_t* json);
/// The same, but the reference is taken over, dropped on failure.
ox_jrpcmsg* ox_jrpcmsg_adopt(json_t* json);
/// A copy that shares the JSON values inside; null when memory runs out.
ox_jrpcmsg* ox_jrpcmsg_clone(const ox_jrpcmsg* message);
/// Null-safe.
void ox_jrpcmsg_free(ox_jrpcmsg* message);
/// Owns one message.
using MsgRef = ox_owner<ox_jrpcmsg, ox_jrpcmsg_free>;

/// The kind of a JSON value as a message (ox_jrpcmsg_kind), 0 when it is none.
int ox_jrpcmsg_kind_of(const json_t* json);
/// A JSON string of any bytes: what is no UTF-8 becomes U+FFFD. Null gives null.
json_t* ox_jrpcmsg_text(const char* text);

/// The kind (ox_jrpcmsg_kind); after an exchange that of the response; 0 for null.
int ox_jrpcmsg_typeof(const ox_jrpcmsg* message);
/// The whole message as a JSON object: a new reference.
json_t* ox_jrpcmsg_json(const ox_jrpcmsg* message);
json_t* ox_jrpcmsg_get_result_json(const ox_jrpcmsg* message);
json_t* ox_jrpcmsg_get_params_json(const ox_jrpcmsg* message);
json_t* ox_jrpcmsg_get_errordata_json(const ox_jrpcmsg* message);

/// Clears result and error of an executed request, so that it can be executed again; takes over `result`,
/// which becomes the new result (null: none).
void ox_jrpcmsg_set_result_new(ox_jrpcmsg* message, json_t* result);
/// Records an error as the outcome (for failures of the exchange itself). `message_text` and `detail` are
/// copied.
void ox_jrpcmsg_set_error(ox_jrpcmsg* message, int code, const char* message_text, const char* detail);
/// Folds a response (an object with "result" or "error", borrowed) into the request that it answers.
void ox_jrpcmsg_take_response(ox_jrpcmsg* message, json_t* response);
