#include "session/background.hpp"

#include "ox_jrpcapi.hpp"
#include "session/channels.hpp"

bool request_begin(ox_jrpcmsg* message, const ox_list_taker* taker) {
    return ox_jrpcapi_begin(request_channel, message, taker) == 0;
}

bool request_is_underway(const ox_jrpcmsg* message) {
    return ox_jrpcapi_is_underway(request_channel, message);
}

void request_finish(ox_jrpcmsg* message) {
    ox_jrpcapi_set_timeout(request_channel, -1);
    ox_jrpcapi_finish(request_channel, message);
    ox_jrpcapi_set_timeout(request_channel, OX_JRPCAPI_TIMEOUT_MS);
    if (request_is_underway(message)) request_abandon(message);
}

void request_abandon(ox_jrpcmsg* message) {
    if (!request_is_underway(message)) return;
    ox_jrpcapi_abandon(request_channel, message);
    ox_jrpcmsg_set_error(message, OX_SOCKET_ETIMEOUT, ox_socket_strerror(OX_SOCKET_ETIMEOUT), nullptr);
}
