#include "session/request.hpp"

#include <stdio.h>

#include "ox_colors.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_out_buffer.hpp"

ox_jrpcmsg* request_new(const char* method, json_t* params) {
    return ox_jrpcmsg_create_new(method, json_incref(params));
}

void request_exec(ox_jrpcmsg* message, int timeout_ms) {
    ox_jrpcapi_set_timeout(request_channel, timeout_ms);
    ox_jrpcapi_exec_retry(request_channel, message);
    ox_jrpcapi_set_timeout(request_channel, OX_JRPCAPI_TIMEOUT_MS);
}

void request_exec_list(ox_jrpcmsg* message, int timeout_ms, const ox_list_taker* taker) {
    ox_jrpcapi_set_timeout(request_channel, timeout_ms);
    ox_jrpcapi_exec_list(request_channel, message, taker);
    ox_jrpcapi_set_timeout(request_channel, OX_JRPCAPI_TIMEOUT_MS);
}

bool request_too_large(const ox_jrpcmsg* message) {
    return ox_jrpcapi_is_too_large(request_channel, message);
}

bool request_lost(const ox_jrpcmsg* message) {
    enum { SOCKET_ERRORS = -100 };  // they lie above this code, the daemon's own errors do not
    return message->error_code < 0 && message->error_code > SOCKET_ERRORS;
}

void request_recover(void) {
    if (request_channel) ox_jrpcapi_set_timeout(request_channel, OX_JRPCAPI_TIMEOUT_MS);
}

void response_report(const ox_jrpcmsg* message) {
    if (message->error_code == 0) {
        fputs("Status: ", stdout);
        ox_colors_set(OX_COLOR_SUCCESS);
        puts("OK");
        ox_colors_reset();
        ox_out_push();
        return;
    }
    ox_confapi_print_failure(message);
}
