/* floor_loop SOCKET PATH COUNT: the same value read COUNT times on one connection, each answer parsed. */
#include "floor.h"

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    int fd = connect_to(argv[1]);
    char* buffer = NULL;
    size_t capacity = 0;
    long long sum = 0;
    for (int i = 1, count = atoi(argv[3]); i <= count; ++i) {
        char request[512];
        snprintf(request, sizeof(request),
                 "{\"jsonrpc\":\"2.0\",\"id\":%d,\"method\":\"GetParameterValues\","
                 "\"params\":{\"ParameterNames\":[\"%s\"]}}\n",
                 i, argv[2]);
        size_t length = exchange(fd, request, &buffer, &capacity);
        json_t* answer = json_loadb(buffer, length, 0, NULL);
        json_t* first =
            json_array_get(json_object_get(json_object_get(answer, "result"), "ParameterList"), 0);
        sum += json_integer_value(json_object_get(first, "Value"));
        json_decref(answer);
    }
    printf("%lld\n", sum);
    return 0;
}
