#include <stdlib.h>
#include <string.h>

#include "ox_jrpcmsg.hpp"
#include "ox_memory.hpp"

namespace {

bool is_version_2(const json_t* json) {
    const char* version = json_string_value(json_object_get(json, "jsonrpc"));
    return version && strcmp(version, "2.0") == 0;
}

bool is_group(const json_t* value) {
    json_int_t group = json_integer_value(value);
    return json_is_integer(value) && group >= 1 && group <= UINT32_MAX;
}

bool is_event(const json_t* json, const char* method) {
    return method && strcmp(method, "Event") == 0 && json_object_get(json, "group");
}

int call_kind_of(const json_t* json, const char* method) {
    const json_t* id = json_object_get(json, "id");
    const json_t* params = json_object_get(json, "params");
    const json_t* auth = json_object_get(json, "auth");
    if (auth && !json_is_string(auth)) return 0;
    if (json_object_get(json, "result") || json_object_get(json, "error")) return 0;
    if (!id && is_event(json, method)) {
        return is_group(json_object_get(json, "group")) ? OX_JRPCMSG_EVENT : 0;
    }
    if (params && !json_is_object(params) && !json_is_array(params)) return 0;
    if (!id) return OX_JRPCMSG_NOTIFICATION;
    return json_is_string(id) || json_is_number(id) || json_is_null(id) ? OX_JRPCMSG_REQUEST : 0;
}

int response_kind_of(const json_t* json) {
    const json_t* error = json_object_get(json, "error");
    const json_t* result = json_object_get(json, "result");
    if (!json_object_get(json, "id") || (error && result)) return 0;
    if (result) return OX_JRPCMSG_RESULT;
    return json_is_integer(json_object_get(error, "code")) ? OX_JRPCMSG_ERROR : 0;
}

/// Success is 0, so an error without a usable code counts as an internal one.
int32_t error_code_of(const json_t* error) {
    json_int_t code = json_integer_value(json_object_get(error, "code"));
    if (code == 0 || code > INT32_MAX || code < INT32_MIN) return -32603;
    return static_cast<int32_t>(code);
}

void forget_error(ox_jrpcmsg* message) {
    message->error_code = 0;
    message->error_message = nullptr;
    message->error_detail = nullptr;
    json_decref(message->error_data);
    message->error_data = nullptr;
}

/// Takes the fields of the record from the "error" member.
void read_error(ox_jrpcmsg* message) {
    forget_error(message);
    json_t* error = json_object_get(message->json, "error");
    if (!error) return;
    message->error_code = error_code_of(error);
    message->error_message = json_string_value(json_object_get(error, "message"));
    json_t* data = json_object_get(error, "data");
    message->error_detail = json_string_value(json_object_get(data, "Detail"));
    if (!json_is_object(data)) return;
    json_t* others = json_copy(data);
    if (message->error_detail) json_object_del(others, "Detail");
    if (json_object_size(others) > 0) {
        message->error_data = others;
    } else {
        json_decref(others);
    }
}

/// Takes over `json`.
ox_jrpcmsg* message_new(json_t* json) {
    auto* message = json ? static_cast<ox_jrpcmsg*>(ox_memory_new(sizeof(ox_jrpcmsg))) : nullptr;
    if (!message) {
        json_decref(json);
        return nullptr;
    }
    message->json = json;
    return message;
}

}  // namespace

int ox_jrpcmsg_kind_of(const json_t* json) {
    if (!is_version_2(json)) return 0;
    const json_t* method = json_object_get(json, "method");
    if (!method) return response_kind_of(json);
    return json_is_string(method) ? call_kind_of(json, json_string_value(method)) : 0;
}

json_t* ox_jrpcmsg_text(const char* text) {
    if (!text) return nullptr;
    json_t* value = json_string(text);
    if (value) return value;
    size_t length = strlen(text);
    auto* fixed = static_cast<char*>(ox_memory_new(length * 3 + 1));
    if (!fixed) return nullptr;
    size_t used = 0;
    for (size_t i = 0; i < length;) {
        size_t width = 0;
        for (size_t w = 1; w <= 4 && i + w <= length && width == 0; ++w) {
            json_t* piece = json_stringn(text + i, w);
            if (piece) width = w;
            json_decref(piece);
        }
        memcpy(fixed + used, width ? text + i : "\xEF\xBF\xBD", width ? width : 3);
        used += width ? width : 3;
        i += width ? width : 1;
    }
    value = json_stringn(fixed, used);
    free(fixed);
    return value;
}

ox_jrpcmsg* ox_jrpcmsg_create_new(const char* method, json_t* params) {
    json_t* json = json_object();
    json_object_set_new(json, "jsonrpc", json_string("2.0"));
    json_object_set_new(json, "id", json_integer(0));
    json_object_set_new(json, "method", ox_jrpcmsg_text(method));
    if (params) json_object_set_new(json, "params", params);
    ox_jrpcmsg* message = message_new(json);
    if (message) message->numbered = true;
    return message;
}

ox_jrpcmsg* ox_jrpcmsg_create_event_new(uint32_t group, json_t* params) {
    json_t* json = json_object();
    json_object_set_new(json, "jsonrpc", json_string("2.0"));
    json_object_set_new(json, "method", json_string("Event"));
    json_object_set_new(json, "group", json_integer(group));
    if (params) json_object_set_new(json, "params", params);
    ox_jrpcmsg* message = message_new(json);
    if (message) message->group = group;
    return message;
}

ox_jrpcmsg* ox_jrpcmsg_adopt(json_t* json) {
    int kind = ox_jrpcmsg_kind_of(json);
    if (kind == 0) {
        json_decref(json);
        return nullptr;
    }
    ox_jrpcmsg* message = message_new(json);
    if (!message) return nullptr;
    if (kind == OX_JRPCMSG_EVENT) {
        message->group = static_cast<uint32_t>(json_integer_value(json_object_get(json, "group")));
    }
    if (kind == OX_JRPCMSG_ERROR) read_error(message);
    return message;
}

ox_jrpcmsg* ox_jrpcmsg_parse_json(json_t* json) {
    return json_is_object(json) ? ox_jrpcmsg_adopt(json_copy(json)) : nullptr;
}

ox_jrpcmsg* ox_jrpcmsg_clone(const ox_jrpcmsg* message) {
    ox_jrpcmsg* copy = message_new(json_copy(message->json));
    if (!copy) return nullptr;
    copy->group = message->group;
    copy->numbered = message->numbered;
    read_error(copy);
    return copy;
}

void ox_jrpcmsg_free(ox_jrpcmsg* message) {
    if (!message) return;
    json_decref(message->json);
    json_decref(message->error_data);
    free(message);
}

int ox_jrpcmsg_typeof(const ox_jrpcmsg* message) {
    if (!message) return 0;
    if (json_object_get(message->json, "error")) return OX_JRPCMSG_ERROR;
    if (json_object_get(message->json, "result")) return OX_JRPCMSG_RESULT;
    if (json_object_get(message->json, "id")) return OX_JRPCMSG_REQUEST;
    const char* method = json_string_value(json_object_get(message->json, "method"));
    return is_event(message->json, method) ? OX_JRPCMSG_EVENT : OX_JRPCMSG_NOTIFICATION;
}

json_t* ox_jrpcmsg_json(const ox_jrpcmsg* message) {
    return message ? json_incref(message->json) : nullptr;
}

json_t* ox_jrpcmsg_get_result_json(const ox_jrpcmsg* message) {
    return message ? json_object_get(message->json, "result") : nullptr;
}

json_t* ox_jrpcmsg_get_params_json(const ox_jrpcmsg* message) {
    return message ? json_object_get(message->json, "params") : nullptr;
}

json_t* ox_jrpcmsg_get_errordata_json(const ox_jrpcmsg* message) {
    return message ? message->error_data : nullptr;
}

void ox_jrpcmsg_set_result_new(ox_jrpcmsg* message, json_t* result) {
    forget_error(message);
    json_object_del(message->json, "error");
    json_object_del(message->json, "result");
    if (result) json_object_set_new(message->json, "result", result);
}

void ox_jrpcmsg_set_error(ox_jrpcmsg* message, int code, const char* message_text, const char* detail) {
    json_t* error = json_object();
    json_object_set_new(error, "code", json_integer(code));
    if (message_text) json_object_set_new(error, "message", ox_jrpcmsg_text(message_text));
    if (detail) {
        json_t* data = json_object();
        json_object_set_new(data, "Detail", ox_jrpcmsg_text(detail));
        json_object_set_new(error, "data", data);
    }
    ox_jrpcmsg_set_result_new(message, nullptr);
    json_object_set_new(message->json, "error", error);
    read_error(message);
}

void ox_jrpcmsg_take_response(ox_jrpcmsg* message, json_t* response) {
    json_t* result = json_object_get(response, "result");
    ox_jrpcmsg_set_result_new(message, json_incref(result));
    if (result) return;
    json_object_set(message->json, "error", json_object_get(response, "error"));
    read_error(message);
}
