// The typed builders: one request of the protocol each.
//
// Builders named *_new take over the caller's reference to the JSON values they are given (null is allowed).
// They return null only when memory runs out.
#pragma once

#include "ox_jrpcmsg.hpp"

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
