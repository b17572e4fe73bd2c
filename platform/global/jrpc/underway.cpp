#include "underway.hpp"

#include "ox_socket.hpp"

bool underway_take(ox_jrpcapi* api, const json_t* response) {
    if (!api->underway) return false;
    const json_t* id = json_object_get(api->underway->json, "id");
    if (!json_equal(json_object_get(response, "id"), id)) return false;
    ox_jrpcmsg_take_response(api->underway, const_cast<json_t*>(response));
    if (api->underway_taker) ox_list_hand_on_kept(api->underway, api->underway_taker);
    api->underway = nullptr;
    api->underway_taker = nullptr;
    return true;
}

void underway_fail(ox_jrpcapi* api, int error) {
    ox_jrpcmsg* message = api->underway;
    api->underway = nullptr;
    api->underway_taker = nullptr;
    if (error == OX_SOCKET_OK) error = OX_SOCKET_ECLOSED;
    if (message) ox_jrpcmsg_set_error(message, error, ox_socket_strerror(error), nullptr);
}
