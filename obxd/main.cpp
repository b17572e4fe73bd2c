#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "device/device.hpp"
#include "device/image.hpp"
#include "net/server.hpp"
#include "options.hpp"

namespace {

using namespace obxd;

enum { EXIT_FAULT = 1, EXIT_USAGE = 2 };

int complain(const std::string& what, int status) {
    fprintf(stderr, "obxd: %s\n", what.c_str());
    return status;
}

int print_hash(const Options& options) {
    char line[1024];
    if (!fgets(line, sizeof line, stdin)) return complain("nothing to hash on standard input", EXIT_FAULT);
    line[strcspn(line, "\n")] = 0;
    std::string hash = options.action == Options::HASH_TOKEN ? token_hash(line) : password_hash(line);
    if (hash.empty()) return complain("no random bytes for the salt", EXIT_FAULT);
    puts(hash.c_str());
    return 0;
}

int make_image(const Options& options) {
    std::string error;
    if (image_make(options.image_version, options.image_payload, options.image_file, error)) return 0;
    return complain(error, EXIT_FAULT);
}

bool is_file(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string beside(const std::string& path, const char* name) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? name : path.substr(0, slash + 1) + name;
}

// The router's model: where it was installed beside the program, else in the source tree that it was built
// from.
std::string default_model() {
    char program[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", program, sizeof(program) - 1);
    if (length > 0) {
        program[length] = '\0';
        std::string installed = beside(program, "../share/obxd/router.json");
        if (is_file(installed)) return installed;
    }
    return OBX_SOURCE_MODEL;
}

// The users of the model's directory, or of the router's that comes with the daemon.
std::string default_users(const std::string& model) {
    std::string near = beside(model, "users.json");
    return is_file(near) ? near : beside(default_model(), "users.json");
}

bool prepare(Server& server, std::string& error) {
    Options& options = server.options;
    if (options.model.empty()) options.model = default_model();
    bool given = !options.users.empty();
    if (!given) options.users = default_users(options.model);
    if ((given || is_file(options.users)) && !users_load(options.users, server.users, error)) return false;
    users_add_owner(server.users, system_user_name(geteuid()));
    if (!options.tls_cert.empty()) {
        server.tls = tls_server_load(options.tls_cert, options.tls_key, error);
        if (!server.tls) return false;
    }
    server.store = Store::load(options.model, error);
    return server.store != nullptr;
}

int serve(const Options& options) {
    Server server;
    server.options = options;
    std::string error;
    if (!prepare(server, error)) return complain(error, EXIT_FAULT);
    if (loop_open(server.loop) < 0) return complain(strerror(errno), EXIT_FAULT);
    Device device{server};
    server.device = &device;
    if (!server_open(server, error) || !device_start(device, error)) {
        server_go_down(server);
        device_stop(device);
        return complain(error, EXIT_FAULT);
    }
    watch_store(server);
    puts(server_ready_text(server).c_str());
    fflush(stdout);
    server_run(server);
    device_stop(device);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::string error;
    if (!options_parse(argc, argv, options, error))
        return complain(error + "; \"obxd --help\" lists the options", EXIT_USAGE);
    switch (options.action) {
        case Options::HELP:
            fputs(options_help(), stdout);
            return 0;
        case Options::VERSION:
            puts("obxd " OBX_VERSION);
            return 0;
        case Options::HASH_PASSWORD:
        case Options::HASH_TOKEN:
            return print_hash(options);
        case Options::MAKE_IMAGE:
            return make_image(options);
        case Options::SERVE:
            break;
    }
    return serve(options);
}
