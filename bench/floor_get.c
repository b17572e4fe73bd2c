/* floor_get SOCKET PATH: one value, read with one request and printed. */
#include "floor.h"

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    int fd = connect_to(argv[1]);
    char request[512];
    snprintf(request, sizeof(request),
             "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"GetParameterValues\","
             "\"params\":{\"ParameterNames\":[\"%s\"]}}\n",
             argv[2]);
    json_t* result = answer_of(fd, request);
    json_t* first = json_array_get(json_object_get(result, "ParameterList"), 0);
    printf("%s = %lld\n", json_string_value(json_object_get(first, "Name")),
           (long long)json_integer_value(json_object_get(first, "Value")));
    return 0;
}
