#include "ox_jrpccmd.hpp"
#include "ox_tr_names.hpp"

namespace {

/// {name: value}; takes over `value`, which may be null (then the object is empty).
json_t* params_of(const char* name, json_t* value) {
    json_t* params = json_object();
    if (value) json_object_set_new(params, name, value);
    return params;
}

json_t* params_of_message(ox_jrpcmsg* message) {
    json_t* params = json_object_get(message->json, "params");
    if (json_is_object(params)) return params;
    params = json_object();
    return json_object_set_new(message->json, "params", params) == 0 ? params : nullptr;
}

}  // namespace

int ox_jrpcmsg_add_parameter_json_new(ox_jrpcmsg* message, const char* name, json_t* value) {
    json_t* params = message ? params_of_message(message) : nullptr;
    if (params && value) return json_object_set_new(params, name, value);
    json_decref(value);
    return -1;
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_values_new(json_t* names) {
    return ox_jrpcmsg_create_new("GetParameterValues", params_of(OX_TR_PARAMETER_NAMES, names));
}

ox_jrpcmsg* ox_jrpcmsg_cmd_set_parameter_values_new(json_t* list) {
    return ox_jrpcmsg_create_new("SetParameterValues",
                                 params_of(OX_TR_PARAMETER_LIST, list ? list : json_array()));
}

int ox_jrpcmsg_cmd_set_parameter_values_add_new(ox_jrpcmsg* message, const char* name, json_t* value) {
    json_t* params = message ? params_of_message(message) : nullptr;
    json_t* list = json_object_get(params, OX_TR_PARAMETER_LIST);
    if (params && !json_is_array(list)) {
        list = json_array();
        json_object_set_new(params, OX_TR_PARAMETER_LIST, list);
    }
    json_t* item = json_object();
    json_object_set_new(item, OX_TR_NAME, ox_jrpcmsg_text(name ? name : ""));
    json_object_set_new(item, OX_TR_VALUE, value ? value : json_null());
    return json_array_append_new(list, item);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_names(const char* path, int next_level) {
    json_t* params = params_of(OX_TR_PARAMETER_PATH, ox_jrpcmsg_text(path));
    json_object_set_new(params, OX_TR_NEXT_LEVEL, json_boolean(next_level));
    return ox_jrpcmsg_create_new("GetParameterNames", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_attributes_new(json_t* names, int level) {
    json_t* params = params_of(OX_TR_PARAMETER_NAMES, names);
    json_object_set_new(params, OX_TR_LEVEL, json_integer(level));
    return ox_jrpcmsg_create_new("GetParameterAttributes", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_datamodel_new(json_t* names, int level) {
    json_t* params = params_of(OX_TR_PARAMETER_NAMES, names);
    json_object_set_new(params, OX_TR_LEVEL, json_integer(level));
    return ox_jrpcmsg_create_new("GetDataModel", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_add_object(const char* path) {
    return ox_jrpcmsg_create_new("AddObject", params_of(OX_TR_OBJECT_NAME, ox_jrpcmsg_text(path)));
}

ox_jrpcmsg* ox_jrpcmsg_cmd_delete_object(const char* path) {
    return ox_jrpcmsg_create_new("DeleteObject", params_of(OX_TR_OBJECT_NAME, ox_jrpcmsg_text(path)));
}

ox_jrpcmsg* ox_jrpcmsg_cmd_execute_new(const char* path, json_t* args) {
    json_t* params = params_of(OX_TR_PATH, ox_jrpcmsg_text(path));
    if (args) json_object_set_new(params, OX_TR_PARAMETER_LIST, args);
    return ox_jrpcmsg_create_new("Execute", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_join_group(uint32_t group) {
    return ox_jrpcmsg_create_new("JoinGroup", params_of("Group", json_integer(group)));
}
