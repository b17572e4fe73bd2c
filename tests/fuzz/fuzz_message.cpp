// Bytes from a daemon: framing, parsing, classification, and folding into a request and into trees. The first
// byte says how the bytes are split, so that every end of a read is tried.
#include <stdlib.h>
#include <string.h>

#include "../../platform/global/jrpc/framing.hpp"
#include "ox_conf_path.hpp"
#include "ox_confapi.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "ox_tr.hpp"

namespace {

void use_result(const json_t* result) {
    const json_t* list = json_object_get(result, "ParameterList");
    JsonRef names(ox_tr_names_to_config(list, "Device."));
    JsonRef values(ox_tr_namevalues_to_config(list, nullptr));
    ox_tr_node_find(names, "Device.Hosts.Host.1.");
    ox_conf_find_branch(values, "Device.Hosts");
}

void use_message(json_t* json) {
    int kind = ox_jrpcmsg_kind_of(json);
    MsgRef parsed(ox_jrpcmsg_parse_json(json));
    if ((kind != 0) != (parsed.get() != nullptr)) abort();
    if (!parsed) return;
    if (ox_jrpcmsg_typeof(parsed) != kind) abort();
    if (kind == OX_JRPCMSG_ERROR && parsed->error_code == 0) abort();
    if (kind == OX_JRPCMSG_EVENT && parsed->group == 0) abort();
    if (kind != OX_JRPCMSG_ERROR && kind != OX_JRPCMSG_RESULT) return;
    MsgRef request(ox_jrpcmsg_create_new("A", nullptr));
    ox_jrpcmsg_take_response(request, json);
    use_result(ox_jrpcmsg_get_result_json(request));
    MsgRef copy(ox_jrpcmsg_clone(request));
    if (copy->error_code != request->error_code) abort();
}

/// False when the stream is broken.
bool take_messages(FrameReader* reader) {
    int state = OX_SOCKET_OK;
    while ((state = frame_find(reader)) == OX_SOCKET_OK) {
        JsonRef json(frame_json(reader));
        if (!json_is_object(json)) abort();
        use_message(json);
        frame_consume(reader);
    }
    return state != OX_SOCKET_EPROTO;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    size_t step = data[0] % 32 + 1U;
    FrameReader reader = {};
    bool fine = true;
    for (size_t at = 1; at < size && fine; at += step) {
        size_t count = size - at < step ? size - at : step;
        size_t room = 0;
        char* place = frame_room(&reader, count, &room);
        if (!place || room < count) abort();
        memcpy(place, data + at, count);
        frame_added(&reader, count);
        fine = take_messages(&reader);
    }
    frame_reset(&reader);
    return 0;
}
