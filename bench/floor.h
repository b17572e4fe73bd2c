/* What the floor programs share: a connection, one request, and the text of its answer. */
#ifndef BENCH_FLOOR_H
#define BENCH_FLOOR_H

#include <jansson.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static inline void die(const char* what) {
    perror(what);
    exit(1);
}

static inline int connect_to(const char* path) {
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    snprintf(address.sun_path, sizeof(address.sun_path), "%s", path);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0 || connect(fd, (struct sockaddr*)&address, sizeof(address)) < 0) die("connect");
    return fd;
}

/* Sends a request; the answer up to its newline ends up in *buffer, which grows as needed. Returns its
 * length. */
static inline size_t exchange(int fd, const char* request, char** buffer, size_t* capacity) {
    size_t length = strlen(request), used = 0;
    if (write(fd, request, length) != (ssize_t)length) die("write");
    for (;;) {
        if (*capacity - used < 65536) {
            *capacity = *capacity ? *capacity * 2 : 131072;
            *buffer = realloc(*buffer, *capacity);
            if (!*buffer) die("realloc");
        }
        ssize_t got = read(fd, *buffer + used, *capacity - used);
        if (got <= 0) die("read");
        used += (size_t)got;
        if ((*buffer)[used - 1] == '\n') return used;
    }
}

static inline json_t* answer_of(int fd, const char* request) {
    char* buffer = NULL;
    size_t capacity = 0;
    size_t length = exchange(fd, request, &buffer, &capacity);
    json_t* answer = json_loadb(buffer, length, 0, NULL);
    free(buffer);
    json_t* result = json_object_get(answer, "result");
    if (!result) {
        fprintf(stderr, "no result\n");
        exit(1);
    }
    json_incref(result);
    json_decref(answer);
    return result;
}

/* Logs in as root, as obxc's -a does; needed for values that a guest may not read. */
static inline void log_in(int fd) {
    json_decref(answer_of(fd,
                          "{\"jsonrpc\":\"2.0\",\"id\":0,\"method\":\"Login\",\"params\":"
                          "{\"Login\":\"root\",\"Password\":null}}\n"));
}

#endif
