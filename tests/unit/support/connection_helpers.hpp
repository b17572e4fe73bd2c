// Shared by the tests of the client library's connections.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ox_jrpcapi.hpp"
#include "ox_raii.hpp"
#include "ox_wait.hpp"
#include "scripted_daemon.hpp"

inline void api_drop(ox_jrpcapi* api) {
    ox_jrpcapi_deinit(api);
}
using Api = ox_owner<ox_jrpcapi, api_drop>;

inline Api connection(const std::string& path, int timeout_ms = 5000) {
    Api api(ox_jrpcapi_init());
    ox_jrpcapi_set_destination(api, nullptr, path.c_str(), OX_SOCKET_LOCAL);
    ox_jrpcapi_set_timeout(api, timeout_ms);
    return api;
}

inline MsgRef request(const char* method = "Ask") {
    return MsgRef(ox_jrpcmsg_create_new(method, nullptr));
}

inline std::string result_of(const ox_jrpcmsg* message) {
    CharsRef text(json_dumps(ox_jrpcmsg_get_result_json(message), JSON_COMPACT | JSON_ENCODE_ANY));
    return text ? text.get() : "";
}

inline std::string event(int group, const std::string& params = "null") {
    return R"({"jsonrpc":"2.0","method":"Event","group":)" + std::to_string(group) + R"(,"params":)" +
           params + "}\n";
}

inline bool readable(int fd, int timeout_ms = 0) {
    struct pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, timeout_ms) == 1;
}

/// Takes events until one comes; null where none does.
inline MsgRef next_event(ox_jrpcapi* api) {
    int fd = ox_socket_fd(ox_jrpcapi_socket(api));
    for (long long end = ox_wait_now_ms() + 20000; ox_wait_now_ms() < end;) {
        if (!readable(fd, 100)) continue;
        MsgRef message(ox_jrpcapi_recv(api));
        if (message) return message;
    }
    return MsgRef();
}
