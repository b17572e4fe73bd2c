#include "main/modes.hpp"

#include <signal.h>
#include <stdio.h>

#include "commands/dispatch.hpp"
#include "lua/lua_script.hpp"
#include "main/events.hpp"
#include "main/script.hpp"
#include "main/shell_loop.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_out.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "ox_wait.hpp"
#include "session/identity.hpp"
#include "session/request.hpp"

namespace {

constexpr int LISTEN_STEP_MS = 10;
constexpr int RECONNECT_PAUSE_MS = 500;

const char* first_arg(const StartOptions* options) {
    return json_string_value(json_array_get(options->args, 0));
}

JsonRef json_from_text(const char* text) {
    return JsonRef(text ? json_loads(text, 0, nullptr) : nullptr);
}

int raw_run(const StartOptions* options) {
    JsonRef json = json_from_text(first_arg(options));
    if (!json) {
        puts("Invalid raw JSON message.");
        return -1;
    }
    MsgRef message(ox_jrpcmsg_parse_json(json));
    if (!message) {
        puts("Incorrect message.");
        return -1;
    }
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_REQUEST) return ox_jrpcapi_send(request_channel, message);
    request_exec(message, request_timeout_ms);
    JsonRef whole(ox_jrpcmsg_json(message));
    CharsRef text(json_dumps(whole, JSON_INDENT(4)));
    fputs("<< ", stdout);
    ox_out_lines(text ? text : "");
    return message->error_code;
}

void ignore_interrupt(int) {}

/// What arrived before the library took over the printing.
void print_queued_events() {
    for (;;) {
        MsgRef message(ox_jrpcapi_recv(event_channel));
        if (!message) break;
        if (message->group != 0) event_print(message);
    }
    ox_out_push();
}

/// Connects again what was lost; the library then joins its groups again.
void reconnect(int error) {
    fprintf(stderr, "Connection dropped - %s(%d)\n", ox_socket_strerror(error), error);
    do {
        ox_wait_sleep_ms(RECONNECT_PAUSE_MS);
        if (ox_jrpcapi_pump(0) > 0) return;
    } while (ox_jrpcapi_connect_within(request_channel, OX_JRPCAPI_TIMEOUT_MS) != 0 ||
             ox_jrpcapi_connect_within(event_channel, OX_JRPCAPI_TIMEOUT_MS) != 0);
}

int listen_run() {
    struct sigaction action = {};
    action.sa_handler = ignore_interrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    ox_jrpcapi_print_events(true);
    print_queued_events();
    while (running) {
        int error = ox_jrpcapi_pump(LISTEN_STEP_MS);
        if (error > 0) break;  // nobody reads any more
        if (error < 0) reconnect(error);
    }
    return 0;
}

int event_run(const StartOptions* options) {
    JsonRef params = json_from_text(first_arg(options));
    MsgRef message(ox_jrpcmsg_create_event_new(options->event_group, params.release()));
    return ox_jrpcapi_send(event_channel, message);
}

int script_mode_run(const StartOptions* options) {
    if (!*options->login) try_login();
    return script_run(options->script_path ? options->script_path : first_arg(options), 0);
}

}  // namespace

int mode_run(const StartOptions* options) {
    switch (options->mode) {
        case MODE_RAW:
            return raw_run(options);
        case MODE_LISTEN:
            return listen_run();
        case MODE_REQUEST:
            return request_dispatch(options->target, options->args);
        case MODE_NOTIFY:
            puts("Unsupported :(");
            return 0;
        case MODE_EVENT:
            return event_run(options);
        case MODE_SCRIPT:
            return script_mode_run(options);
        case MODE_SCRIPT_LUA:
            return lua_script_run(options->script_path, options->args);
        default:
            return shell_loop();
    }
}
