#include <stdio.h>

#include "ox_colors.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_tr_names.hpp"

namespace {

ox_jrpcapi* context = nullptr;
bool ignore_next = false;
ox_jrpcmsg* last_failed = nullptr;

void keep_failed(const ox_jrpcmsg* message) {
    ox_jrpcmsg_free(last_failed);
    last_failed = ox_jrpcmsg_clone(message);
}

/// 0 for a result; a failure is kept, and printed when asked for. The wish to ignore it is used up.
int execute(ox_jrpcmsg* message, bool print) {
    bool silent = ignore_next || !print;
    ignore_next = false;
    if (!context || !message) return -1;
    ox_jrpcapi_exec_retry(context, message);
    if (message->error_code == 0) return 0;
    keep_failed(message);
    if (!silent) ox_confapi_print_failure(message);
    return -1;
}

/// A result that lacks something is kept as a failure too, so that the last message is never an older one.
void fail_incomplete(ox_jrpcmsg* message, const char* member, bool print) {
    ox_jrpcmsg_set_error(message, OX_SOCKET_EPROTO, "Incomplete answer", member);
    keep_failed(message);
    if (print) ox_confapi_print_failure(message);
}

/// A member of the result: a new reference, or null.
json_t* query(ox_jrpcmsg* request, const char* member, json_type type, bool print) {
    MsgRef message(request);
    print = print && !ignore_next;
    if (execute(message, print) != 0) return nullptr;
    json_t* value = json_object_get(ox_jrpcmsg_get_result_json(message), member);
    if (value && json_typeof(value) == type) return json_incref(value);
    fail_incomplete(message, member, print);
    return nullptr;
}

ox_jrpcmsg* text_request(const char* method, const char* name, const char* text) {
    json_t* params = json_object();
    json_object_set_new(params, name, ox_jrpcmsg_text(text ? text : ""));
    return ox_jrpcmsg_create_new(method, params);
}

}  // namespace

void ox_confapi_print_failure(const ox_jrpcmsg* message) {
    ox_colors_set(OX_COLOR_ERROR);
    printf("[%d] ", message->error_code);
    ox_out_message(message->error_message ? message->error_message : "");
    ox_colors_reset();
    if (message->error_detail) {
        fputs(": ", stdout);
        ox_out_message(message->error_detail);
    }
    putchar('\n');
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(message->error_data, key, value) {
        CharsRef text(json_dumps(value, JSON_ENCODE_ANY));
        ox_out_text(key);
        fputs(": ", stdout);
        ox_out_text(text ? text.get() : "");
        putchar('\n');
    }
}

void ox_confapi_set_ctx(ox_jrpcapi* api) {
    context = api;
}

void ox_confapi_ignore_next_error_exec(int ignore) {
    ignore_next = ignore != 0;
}

int ox_confapi_exec(ox_jrpcmsg* message) {
    return execute(message, true);
}

json_t* ox_confapi_getconfig(const char* path) {
    json_t* names = json_array();
    json_array_append_new(names, ox_jrpcmsg_text(path ? path : ""));
    bool print = !ignore_next;
    JsonRef list(
        query(ox_jrpcmsg_cmd_get_parameter_values_new(names), OX_TR_PARAMETER_LIST, JSON_ARRAY, print));
    json_t* value = json_object_get(json_array_get(list, 0), OX_TR_VALUE);
    if (list && !value) {
        MsgRef message(ox_jrpcmsg_create_new("GetParameterValues", nullptr));
        fail_incomplete(message, OX_TR_VALUE, print);
    }
    return json_incref(value);
}

json_t* _ox_confapi_getconfig_fullpath(const char* path, int /*flags*/) {
    return query(text_request("GetConfig", OX_TR_PATH, path), OX_TR_CONFIG, JSON_OBJECT, false);
}

json_t* ox_confapi_select_new(const char* selector, int /*flags*/, int /*reserved*/) {
    return query(text_request("Select", OX_TR_SELECTOR, selector), OX_TR_MATCHES, JSON_OBJECT, false);
}

ox_jrpcmsg* ox_confapi_get_last_message(void* /*reserved*/) {
    return last_failed;
}
