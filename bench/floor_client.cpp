// floor_client SOCKET PATH COUNT: the same value read COUNT times through the client library, without Lua.
#include <stdio.h>
#include <stdlib.h>

#include "ox_confapi.hpp"
#include "ox_jrpccmd.hpp"

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    ox_jrpcapi* api = ox_jrpcapi_init();
    ox_jrpcapi_set_destination(api, nullptr, argv[1], OX_SOCKET_LOCAL);
    if (ox_jrpcapi_connect(api) != 0) return 1;
    long long sum = 0;
    for (int i = 0, count = atoi(argv[3]); i < count; ++i) {
        json_t* names = json_array();
        json_array_append_new(names, json_string(argv[2]));
        ox_jrpcmsg* message = ox_jrpcmsg_cmd_get_parameter_values_new(names);
        if (ox_jrpcapi_exec(api, message) != 0) return 1;
        json_t* list = json_object_get(ox_jrpcmsg_get_result_json(message), "ParameterList");
        sum += json_integer_value(json_object_get(json_array_get(list, 0), "Value"));
        ox_jrpcmsg_free(message);
    }
    printf("%lld\n", sum);
    ox_jrpcapi_deinit(api);
    return 0;
}
