#include "commands/serve_file.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "ox_fs.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "session/channels.hpp"

namespace {

enum { WAIT_MS = 10000 };

/// What the serving thread owns: the mapped file and its sockets.
struct ServedFile {
    void* data;
    size_t size;
    ox_socket* server;
    ox_socket* client;
};

void served_file_free(ServedFile* file) {
    if (!file) return;
    ox_socket_free(file->client);
    ox_socket_free(file->server);
    if (file->data) ox_fs_munmap_file(file->data, file->size);
    free(file);
}

using ServedFileRef = ox_owner<ServedFile, served_file_free, ox_unheld>;

pthread_mutex_t tell_lock = PTHREAD_MUTEX_INITIALIZER;
int tell_fd = -1;

__attribute__((format(printf, 1, 2))) void tell(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    int length = vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    pthread_mutex_lock(&tell_lock);
    if (tell_fd < 0 || write(tell_fd, text, length) != length) {
        fputs(text, stdout);
        fflush(stdout);
    }
    pthread_mutex_unlock(&tell_lock);
}

void send_once(ServedFile* file) {
    if (ox_socket_wait(file->server, 1, WAIT_MS) <= 0) {
        tell("Waiting timeout, abort.\n");
        return;
    }
    file->client = ox_socket_accept(file->server);
    if (!file->client) {
        tell("accept() failed, abort.\n");
        return;
    }
    ssize_t sent = ox_socket_send(file->client, file->data, file->size);
    if (sent < 0 || static_cast<size_t>(sent) < file->size) {
        tell("send() failed (expected %zu bytes, transferred %zi bytes), abort.\n", file->size, sent);
    }
}

void* serving_thread(void* context) {
    ServedFileRef file(static_cast<ServedFile*>(context));
    fflush(stdout);
    send_once(file);
    return nullptr;
}

/// Binds a listener to a free port of `local` and writes its URL.
bool open_server(ServedFile* file, const sockaddr_in& local, char* url, size_t url_size) {
    file->server = ox_socket_new(OX_SOCKET_TCP);
    if (!file->server) {
        puts("Cannot create server socket, aborting.");
        return false;
    }
    sockaddr_in address = local;
    address.sin_port = 0;
    if (ox_socket_bind(file->server, reinterpret_cast<sockaddr*>(&address), 16) != 0) {
        puts("Cannot bind server socket, aborting.");
        return false;
    }
    if (ox_socket_listen(file->server, 1) != 0) {
        puts("Cannot set server socket to LISTEN state, aborting.");
        return false;
    }
    const auto* bound = reinterpret_cast<const sockaddr_in*>(ox_socket_get_addr(file->server));
    if (!bound) {
        puts("Cannot get local address, aborting.");
        return false;
    }
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &bound->sin_addr, text, sizeof(text));
    snprintf(url, url_size, "netcat://%s:%d", text, ntohs(bound->sin_port));
    return true;
}

/// Starts the detached thread, which owns the context from then on; errno where there is none. Signals stay
/// the main thread's.
int start_thread(ServedFile* file) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    int failure = pthread_create(&thread, nullptr, serving_thread, file);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (failure == 0) pthread_detach(thread);
    return failure;
}

}  // namespace

void serve_file_tell(int fd) {
    pthread_mutex_lock(&tell_lock);
    tell_fd = fd;
    pthread_mutex_unlock(&tell_lock);
}

int serve_file(const char* path, char* url, size_t url_size, size_t* size) {
    ServedFileRef file(static_cast<ServedFile*>(ox_memory_new(sizeof(ServedFile))));
    const sockaddr* own = ox_socket_get_addr(ox_jrpcapi_socket(request_channel));
    if (!file || !own || own->sa_family != AF_INET) {
        puts("Cannot get local address, aborting.");
        return -1;
    }
    sockaddr_in local;
    memcpy(&local, own, sizeof(local));
    if (!open_server(file, local, url, url_size)) return -1;
    file->data = ox_fs_mmap_file_adv(path, 0, &file->size, 0);
    if (!file->data) {
        printf("Cannot open file (%s), aborting.\n", path);
        return -1;
    }
    *size = file->size;
    // Printed first: from its start on the thread may end the context at any time.
    printf("Sending file (%s, %zu bytes) via netcat (%s)...\n", path, *size, url);
    if (int failure = start_thread(file)) {
        printf("Cannot send the file (%s), aborting.\n", strerror(failure));
        return -1;
    }
    file.release();
    return 0;
}
