#include "underway.hpp"

#include "ox_socket.hpp"

bool underway_take(ox_jrpcapi* api, const json_t* response) {
    if (!api->underway) return false;
    const json_t* id = json_object_get(api->underway->json, "id");
    if (!json_equal(json_object_get(response, "id"), id)) return false;
    ox_jrpcmsg_take_response(api->underway, const_cast<json_t*>(response));
    api->underway = nullptr;
    return true;
}

void underway_fail(ox_jrpcapi* api, int error) {
    ox_jrpcmsg* message = api->underway;
    api->underway = nullptr;
    if (error == OX_SOCKET_OK) error = OX_SOCKET_ECLOSED;
    if (message) ox_jrpcmsg_set_error(message, error, ox_socket_strerror(error), nullptr);
}
