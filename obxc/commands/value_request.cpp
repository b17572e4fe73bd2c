#include "commands/value_request.hpp"

#include <string.h>

#include "ox_jrpccmd.hpp"
#include "ox_memory.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

enum { PARTS = 4, INVALID_NAME = 9005 };

/// One exchange: what it gives is added to the values.
struct Taking {
    ValueList* values;
    size_t mark;  // of the list before it
};

const ox_list_taker value_taker(Taking* taking) {
    return {[](void* context) {
                auto* self = static_cast<Taking*>(context);
                value_list_cut(self->values, self->mark);
            },
            [](void* context, const ox_list_element* element) {
                value_list_add(static_cast<Taking*>(context)->values, element);
            },
            taking};
}

/// The executed request for these names (borrowed).
ox_jrpcmsg* ask(ValueRequest* request, json_t* names) {
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_values_new(json_incref(names)));
    if (request->ignore_access_errors)
        ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
    Taking taking = {&request->values, request->values.bytes.size};
    ox_list_taker taker = value_taker(&taking);
    request_exec_list(message, request->timeout_ms, &taker);
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) value_list_cut(&request->values, taking.mark);
    return message.release();
}

/// The names of the children of an object, or of the instances that a "#template" stands for with what
/// follows it: a new array.
json_t* children_of(const ValueRequest* request, const char* name) {
    const char* pattern = strstr(name, OX_TR_TEMPLATE);
    CharsRef object(ox_memory_text_n(name, pattern ? static_cast<size_t>(pattern - name) : strlen(name)));
    json_t* children = json_array();
    if (!ox_tr_path_is_partial(object)) return children;
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_names(object, 1));
    request_exec(message, request->timeout_ms);
    const char* rest = pattern ? pattern + strlen(OX_TR_TEMPLATE) : "";
    if (*rest == '.') ++rest;
    for (ox_tr_element element : ox_tr_elements(ox_tr_result_list(ox_jrpcmsg_get_result_json(message)))) {
        bool instance = ox_tr_is_instance(ox_tr_path_leaf(element.name));
        if (pattern && !instance) continue;
        StrRef child(ox_str_init());
        ox_str_printf(child, "%s%s", element.name, rest);
        json_array_append_new(children, json_string(ox_dynarray_get(child)));
    }
    return children;
}

void refuse(ValueRequest* request, json_t* name) {
    if (!request->refused) request->refused.reset(json_array());
    json_array_append(request->refused, name);
}

json_t* slice(const json_t* names, size_t from, size_t to) {
    json_t* part = json_array();
    for (size_t i = from; i < to; ++i) json_array_append(part, json_array_get(names, i));
    return part;
}

void gather(ValueRequest* request, json_t* names, bool children);

void gather_parts(ValueRequest* request, json_t* names) {
    size_t count = json_array_size(names);
    size_t step = (count + PARTS - 1) / PARTS;
    for (size_t from = 0; from < count && !request->failure; from += step) {
        JsonRef part(slice(names, from, from + step < count ? from + step : count));
        gather(request, part, true);
    }
}

/// Asks for these names together, else in parts. Children that cannot be asked for are methods, or gone
/// meanwhile.
void gather(ValueRequest* request, json_t* names, bool children) {
    MsgRef message(ask(request, names));
    if (ox_jrpcmsg_typeof(message) == OX_JRPCMSG_RESULT) return;
    bool without_values = children && message->error_code == INVALID_NAME;
    if (!without_values && !request_too_large(message)) {
        request->failure = static_cast<MsgRef&&>(message);
        return;
    }
    if (json_array_size(names) > 1) {
        gather_parts(request, names);
        return;
    }
    if (without_values) return;
    json_t* name = json_array_get(names, 0);
    JsonRef below(children_of(request, json_string_value(name)));
    if (json_array_size(below) > 0) {
        gather_parts(request, below);
    } else {
        refuse(request, name);
        request->refusal = static_cast<MsgRef&&>(message);
    }
}

}  // namespace

void values_request(ValueRequest* request) {
    JsonRef names(json_array());
    json_array_append_new(names, json_string(request->query));
    gather(request, names, false);
    if (!request->failure && request->values.bytes.size == 0)
        request->failure = static_cast<MsgRef&&>(request->refusal);
}
