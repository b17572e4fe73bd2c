/* floor_tree SOCKET PATH: the configuration below a path, walked and drawn as an indented tree. */
#include "floor.h"

static void draw(json_t* node, int depth) {
    const char* key;
    json_t* value;
    json_object_foreach(node, key, value) {
        for (int i = 0; i < depth; ++i) fputs("|   ", stdout);
        fputs("|-- ", stdout);
        fputs(key, stdout);
        if (json_is_object(value)) {
            putchar('\n');
            draw(value, depth + 1);
        } else {
            fputs(" = ", stdout);
            if (json_is_string(value)) {
                printf("'%s'\n", json_string_value(value));
            } else {
                json_dumpf(value, stdout, JSON_ENCODE_ANY);
                putchar('\n');
            }
        }
    }
}

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    int fd = connect_to(argv[1]);
    log_in(fd);
    char request[512];
    snprintf(request, sizeof(request),
             "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"GetConfig\",\"params\":{\"Path\":\"%s\"}}\n",
             argv[2]);
    json_t* config = answer_of(fd, request);
    snprintf(request, sizeof(request),
             "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"GetDataModel\","
             "\"params\":{\"ParameterNames\":[\"%s\"],\"Level\":-1}}\n",
             argv[2]);
    json_t* schema = answer_of(fd, request);
    puts(argv[2]);
    draw(json_object_get(config, "Config"), 0);
    return schema ? 0 : 1;
}
