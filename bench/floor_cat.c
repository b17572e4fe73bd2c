/* floor_cat SOCKET PATH: all values below a path, printed one a line with their names aligned. */
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
    json_t* list = json_object_get(result, "ParameterList");
    size_t prefix = strlen(argv[2]), width = 0, index;
    json_t* entry;
    json_array_foreach(list, index, entry) {
        size_t length = strlen(json_string_value(json_object_get(entry, "Name"))) - prefix;
        if (length > width) width = length;
    }
    json_array_foreach(list, index, entry) {
        const char* name = json_string_value(json_object_get(entry, "Name")) + prefix;
        json_t* value = json_object_get(entry, "Value");
        printf("%-*s = ", (int)width, name);
        if (json_is_string(value)) {
            printf("'%s'\n", json_string_value(value));
        } else if (json_is_integer(value)) {
            printf("%lld\n", (long long)json_integer_value(value));
        } else {
            json_dumpf(value, stdout, JSON_ENCODE_ANY);
            putchar('\n');
        }
    }
    return 0;
}
