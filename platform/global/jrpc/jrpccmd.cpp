#include "ox_jrpccmd.hpp"

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
    return ox_jrpcmsg_create_new("GetParameterValues", params_of("ParameterNames", names));
}

ox_jrpcmsg* ox_jrpcmsg_cmd_set_parameter_values_new(json_t* list) {
    return ox_jrpcmsg_create_new("SetParameterValues",
                                 params_of("ParameterList", list ? list : json_array()));
}

int ox_jrpcmsg_cmd_set_parameter_values_add_new(ox_jrpcmsg* message, const char* name, json_t* value) {
    json_t* params = message ? params_of_message(message) : nullptr;
    json_t* list = json_object_get(params, "ParameterList");
    if (params && !json_is_array(list)) {
        list = json_array();
        json_object_set_new(params, "ParameterList", list);
    }
    json_t* item = json_object();
    json_object_set_new(item, "Name", ox_jrpcmsg_text(name ? name : ""));
    json_object_set_new(item, "Value", value ? value : json_null());
    return json_array_append_new(list, item);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_names(const char* path, int next_level) {
    json_t* params = params_of("ParameterPath", ox_jrpcmsg_text(path));
    json_object_set_new(params, "NextLevel", json_boolean(next_level));
    return ox_jrpcmsg_create_new("GetParameterNames", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_parameter_attributes_new(json_t* names, int level) {
    json_t* params = params_of("ParameterNames", names);
    json_object_set_new(params, "Level", json_integer(level));
    return ox_jrpcmsg_create_new("GetParameterAttributes", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_get_datamodel_new(json_t* names, int level) {
    json_t* params = params_of("ParameterNames", names);
    json_object_set_new(params, "Level", json_integer(level));
    return ox_jrpcmsg_create_new("GetDataModel", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_add_object(const char* path) {
    return ox_jrpcmsg_create_new("AddObject", params_of("ObjectName", ox_jrpcmsg_text(path)));
}

ox_jrpcmsg* ox_jrpcmsg_cmd_delete_object(const char* path) {
    return ox_jrpcmsg_create_new("DeleteObject", params_of("ObjectName", ox_jrpcmsg_text(path)));
}

ox_jrpcmsg* ox_jrpcmsg_cmd_execute_new(const char* path, json_t* args) {
    json_t* params = params_of("Path", ox_jrpcmsg_text(path));
    if (args) json_object_set_new(params, "ParameterList", args);
    return ox_jrpcmsg_create_new("Execute", params);
}

ox_jrpcmsg* ox_jrpcmsg_cmd_join_group(uint32_t group) {
    return ox_jrpcmsg_create_new("JoinGroup", params_of("Group", json_integer(group)));
}
