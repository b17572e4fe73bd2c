#include "main/events.hpp"

#include <stdio.h>

#include "model/cache.hpp"
#include "model/changes.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"

void event_print(ox_jrpcmsg* message) {
    printf("\nEVENT %zu:\n", static_cast<size_t>(message->group));
    json_t* params = ox_jrpcmsg_get_params_json(message);
    if (!params) return;
    CharsRef text(json_dumps(params, JSON_INDENT(4) | JSON_ENCODE_ANY));
    if (text) ox_out_lines(text);
}

void events_tell_lost(void) {
    size_t lost = ox_jrpcapi_take_lost_events();
    if (lost == 0) return;
    printf("\n%zu events are lost: more came than can wait.\n", lost);
    dm_doubt();
}

void events_tell_gap(bool joined) {
    printf("\nEvents may be lost: the connection was closed%s.\n",
           joined ? " and is open again" : ", the next command opens it again");
}

void event_take(ox_jrpcmsg* message) {
    if (message->group == 0) return;
    if (message->group == GROUP_MODEL_CHANGES) {
        model_change_queue(ox_jrpcmsg_get_params_json(message));
    } else {
        event_print(message);
    }
}
