#include "main/start.hpp"

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "commands/login.hpp"
#include "main/auth_file.hpp"
#include "main/events.hpp"
#include "main/modes.hpp"
#include "main/options.hpp"
#include "main/script.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_colors.hpp"
#include "ox_confapi.hpp"
#include "ox_history.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_memory.hpp"
#include "ox_out_buffer.hpp"
#include "ox_raii.hpp"
#include "ox_screen.hpp"
#include "ox_socket.hpp"
#include "session/channels.hpp"
#include "session/identity.hpp"
#include "session/interrupt.hpp"
#include "session/patience.hpp"

namespace {

constexpr int GO_ON = -1;
constexpr int EVENTS_TIMEOUT_MS = 100;
constexpr int JOIN_TIMEOUT_MS = 1000;

struct Channels {
    ox_jrpcapi* requests;
    ox_jrpcapi* events;
};

void channel_prepare(ox_jrpcapi* api, const StartOptions* options, int timeout_ms) {
    if (options->use_ssl) ox_jrpcapi_set_flags(api, ox_jrpcapi_get_flags(api) | OX_JRPCAPI_SSL);
    if (options->host || options->unix_path) {
        ox_jrpcapi_set_destination(api, options->host, options->unix_path, OX_SOCKET_LOCAL);
    }
    ox_jrpcapi_set_timeout(api, timeout_ms);
}

void channel_connect(ox_jrpcapi* api, int timeout_ms) {
    if (ox_socket_fd(ox_jrpcapi_socket(api)) == -1) ox_jrpcapi_connect_within(api, timeout_ms);
}

int channel_check(ox_jrpcapi* api, const char* name) {
    int error = ox_jrpcapi_get_socket_err(api);
    if (error == 0) return GO_ON;
    printf("Cannot connect to obxd(%s) - %s(%d)\n", name, ox_socket_strerror(error), error);
    return EXIT_FAILURE;
}

/// Plain text to a daemon that expects TLS fails at the first exchange only, but is told as a connection that
/// failed.
[[noreturn]] void channel_mismatched(ox_jrpcapi* api) {
    channel_check(api, api == request_channel ? "requests" : "events");
    ox_jrpcapi_deinit(request_channel);
    ox_jrpcapi_deinit(event_channel);
    exit(EXIT_FAILURE);
}

/// Whether connecting takes handshakes, which are given more time than an exchange on the events connection:
/// but not when the same daemon has just failed to answer one.
bool is_afar(const StartOptions* options) {
    const char* destination = options->unix_path ? options->unix_path : ox_jrpcapi_default_destination();
    return options->use_ssl || strncmp(destination, "tcp://", 6) == 0;
}

int channels_open(const Channels* channels, const StartOptions* options) {
    channel_prepare(channels->requests, options, OX_JRPCAPI_TIMEOUT_MS);
    channel_prepare(channels->events, options, EVENTS_TIMEOUT_MS);
    channel_connect(channels->requests, OX_JRPCAPI_TIMEOUT_MS);
    bool connected = ox_jrpcapi_get_socket_err(channels->requests) == 0;
    channel_connect(channels->events,
                    connected && is_afar(options) ? OX_JRPCAPI_TIMEOUT_MS : EVENTS_TIMEOUT_MS);
    int status = channel_check(channels->requests, "requests");
    return status == GO_ON ? channel_check(channels->events, "events") : status;
}

void colours_decide() {
    bool on = isatty(fileno(stdout)) && ox_rl_get_terminal_capabilities(getenv("TERM"))->color;
    ox_colors_toggle(on);
}

void group_join(ox_jrpcapi* api, uint32_t group) {
    MsgRef message(ox_jrpcmsg_cmd_join_group(group));
    ox_jrpcapi_set_timeout(api, JOIN_TIMEOUT_MS);
    ox_jrpcapi_exec(api, message);
}

void groups_join(const StartOptions* options) {
    if (options->mode != MODE_RAW && options->mode != MODE_REQUEST) {
        group_join(event_channel, GROUP_MODEL_CHANGES);
    }
    for (uint32_t group : options->groups) group_join(request_channel, group);
}

enum { CONFIG_PATH_SIZE = 256 };

int config_path_default(char path[CONFIG_PATH_SIZE]) {
    const char* home = getenv("HOME");
    struct passwd entry;
    struct passwd* found = nullptr;
    char buffer[4096];
    if (!home && getpwuid_r(getuid(), &entry, buffer, sizeof(buffer), &found) == 0 && found) {
        home = found->pw_dir;
    }
    if (!home) return -1;
    int length = snprintf(path, CONFIG_PATH_SIZE, "%s/.local/obxc/config", home);
    return length < CONFIG_PATH_SIZE ? 0 : -1;
}

/// Runs the start-up script with descriptor 1 on /dev/null.
void config_run_silently(const char* path) {
    ox_out_push();
    Fd saved(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    Fd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (saved.get() < 0 || null.get() < 0 || dup2(null.get(), STDOUT_FILENO) < 0) {
        fprintf(stderr, "Cannot run %s: /dev/null: %s\n", path, strerror(errno));
        return;
    }
    null.reset();
    ox_out_refresh();
    script_run(path, 1);
    ox_out_push();
    dup2(saved.get(), STDOUT_FILENO);
    ox_out_refresh();
}

void config_run(const StartOptions* options) {
    char default_path[CONFIG_PATH_SIZE];
    const char* path = options->config_path;
    if (!path) {
        if (config_path_default(default_path) < 0) return;
        path = default_path;
    }
    struct stat info;
    if (stat(path, &info) == 0 && S_ISREG(info.st_mode)) config_run_silently(path);
}

int session_start(const Channels* channels, const StartOptions* options) {
    int status = channels_open(channels, options);
    if (status != GO_ON) return status;
    colours_decide();
    ox_confapi_set_ctx(channels->requests);
    request_channel = channels->requests;
    event_channel = channels->events;
    ox_jrpcapi_on_mismatch(channel_mismatched);
    ox_history_set_secret(login_line_is_secret);
    identity_on_change(dm_identity_changed);
    const char* password = *options->password ? options->password : nullptr;
    if (*options->login && login_with(options->login, password) != 0) return EXIT_FAILURE;
    ox_jrpcapi_set_flags(event_channel, ox_jrpcapi_get_flags(request_channel) | OX_JRPCAPI_EVENTS);
    groups_join(options);
    request_timeout_ms = options_timeout_ms(options);
    config_run(options);
    return GO_ON;
}

/// For a script that connects by itself: the connections are there, but lead nowhere yet.
void session_leave(const Channels* channels) {
    request_channel = channels->requests;
    event_channel = channels->events;
    request_timeout_ms = OX_JRPCAPI_TIMEOUT_MS;
}

/// What comes before the mode. -1: go on; else the exit status.
int session_prepare(const Channels* channels, const StartOptions* options) {
    if (!options->stands_alone) return session_start(channels, options);
    session_leave(channels);
    return GO_ON;
}

/// A closed standard descriptor would be taken by a connection, which then would be read or written as if it
/// were the person's. What is written to a closed standard output fails on, so that its loss is told.
void descriptors_fill() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (fcntl(fd, F_GETFD) < 0) open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
}

int output_finish(int status) {
    ox_out_push();
    int failure = ox_out_failure();
    if (failure == 0) return status;
    fprintf(stderr, "obxc: cannot write standard output: %s\n", strerror(failure));
    return status == 0 ? EXIT_FAILURE : status;
}

}  // namespace

int run(int argc, char** argv) {
    interrupt_begin();
    descriptors_fill();
    ox_memory_open();
    ox_out_open();
    interrupt_init();
    patience_init();
    Channels channels = {};
    channels.requests = ox_jrpcapi_init();
    channels.events = ox_jrpcapi_init();
    StartOptions options = {};
    int status = options_parse(&options, argc, argv);
    if (status == GO_ON) status = auth_file_take(&options);
    interrupt_begin_end(status == GO_ON && options.mode == MODE_INTERACTIVE);
    if (status == GO_ON) status = session_prepare(&channels, &options);
    if (status == GO_ON) status = mode_run(&options);
    ox_jrpcapi_deinit(channels.requests);
    ox_jrpcapi_deinit(channels.events);
    request_channel = nullptr;
    event_channel = nullptr;
    options_free(&options);
    identity_free();
    return output_finish(status);
}
