#include "main/events.hpp"

#include <stdio.h>

#include "complete/complete.hpp"
#include "ox_out.hpp"

namespace {

void queue_model_change(json_t* params) {
    // A change without one of the members cannot be folded in: it is dropped.
    json_t* change = json_pack("{s:O, s:O, s:O}", "Action", json_object_get(params, "Action"), "Path",
                               json_object_get(params, "Path"), "InstanceNumber",
                               json_object_get(params, "InstanceNumber"));
    if (!change) return;
    if (!pending_model_events) pending_model_events = json_array();
    json_array_append_new(pending_model_events, change);
}

}  // namespace

void event_print(ox_jrpcmsg* message) {
    printf("\nEVENT %zu:\n", static_cast<size_t>(message->group));
    json_t* params = ox_jrpcmsg_get_params_json(message);
    if (!params) return;
    CharsRef text(json_dumps(params, JSON_INDENT(4) | JSON_ENCODE_ANY));
    if (text) ox_out_lines(text);
}

void event_take(ox_jrpcmsg* message) {
    if (message->group == 0) return;
    if (message->group == GROUP_MODEL_CHANGES) {
        queue_model_change(ox_jrpcmsg_get_params_json(message));
    } else {
        event_print(message);
    }
}
