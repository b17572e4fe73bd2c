// JSON-RPC messages: creation, the typed builders, and what a response brought back.
//
// Builders named *_new take over the caller's reference to the JSON values they are given (null is allowed);
// accessors return borrowed values that live as long as the message. Builders return null only when memory
// runs out.
#pragma once

#include <jansson.h>
#include <stdint.h>

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
/// Null-safe.
void ox_jrpcmsg_free(ox_jrpcmsg* message);

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
/// Adds a member to the params object (created when absent). Takes over `value`. Returns 0 or -1.
int ox_jrpcmsg_add_parameter_json_new(ox_jrpcmsg* message, const char* name, json_t* value);

ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_values_new(json_t* names);
/// An absent list makes an empty one, to be filled by ..._add_new.
ox_jrpcmsg* ox_jrpcmsg_cmd_set_parameter_values_new(json_t* list);
/// Adds {"Name","Value"} to the message's "ParameterList" (created when absent; also for Execute). Takes over
/// `value`; an absent value is sent as null. Returns 0 or -1.
int ox_jrpcmsg_cmd_set_parameter_values_add_new(ox_jrpcmsg* message, const char* name, json_t* value);
ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_names(const char* path, int next_level);
/// Level 0: the node alone, 1: with its children, -1 (the default): everything below.
ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_attributes_new(json_t* names, int level = -1);
ox_jrpcmsg* ox_jrpcmsg_cmd_get_datamodel_new(json_t* names, int level);
ox_jrpcmsg* ox_jrpcmsg_cmd_add_object(const char* path);
ox_jrpcmsg* ox_jrpcmsg_cmd_delete_object(const char* path);
/// Takes over `args` (an array of {"Name","Value"}, or null).
ox_jrpcmsg* ox_jrpcmsg_cmd_execute_new(const char* path, json_t* args);
ox_jrpcmsg* ox_jrpcmsg_cmd_join_group(uint32_t group);
