#include "session/channels.hpp"

ox_jrpcapi* request_channel = nullptr;
ox_jrpcapi* event_channel = nullptr;
int request_timeout_ms = OX_JRPCAPI_TIMEOUT_MS;
bool running = true;
