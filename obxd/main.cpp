#include <errno.h>
#include <limits.h>
#include <malloc.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "device/device.hpp"
#include "device/image.hpp"
#include "net/server.hpp"
#include "one_line.hpp"
#include "options.hpp"
#include "requests/requests.hpp"
#include "users/hash.hpp"

namespace {

using namespace obxd;

enum { EXIT_FAULT = 1, EXIT_USAGE = 2 };

int complain(const std::string& what, int status) {
    fprintf(stderr, "obxd: %s\n", one_line(what).c_str());
    return status;
}

int print_hash(const Options& options) {
    char line[1024];
    if (!fgets(line, sizeof line, stdin)) return complain("nothing to hash on standard input", EXIT_FAULT);
    line[strcspn(line, "\n")] = 0;
    std::string hash = options.action == Options::HASH_TOKEN ? token_hash(line) : password_hash(line);
    if (hash.empty()) return complain("no hash can be made of that", EXIT_FAULT);
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

// The router's model: where it was installed beside the program, else in the source tree of the build.
std::string default_model() {
    char program[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", program, sizeof(program) - 1);
    if (length < 0) return OBX_SOURCE_MODEL;
    program[length] = '\0';
    std::string installed = beside(program, "../share/obxd/router.json");
    return is_file(installed) ? installed : beside(program, OBX_SOURCE_MODEL);
}

// The users of the model's directory, or of the router's that comes with the daemon.
std::string default_users(const std::string& model) {
    std::string near = beside(model, "users.json");
    return is_file(near) ? near : beside(default_model(), "users.json");
}

// The ready line.
std::string ready_text(const Server& server) {
    const Listen& listen = server.listen;
    std::string text = "obxd " OBX_VERSION " ready on " + listen.socket;
    if (listen.port < 0) return text;
    bool brackets = listen.host.find(':') != std::string::npos;
    text += ", " + (listen.host.empty() ? "*" : brackets ? "[" + listen.host + "]" : listen.host);
    text += ":" + std::to_string(listen.port);
    return server.tls ? text + " (tls)" : text;
}

// What the options leave open.
void complete(Options& options) {
    if (options.model.empty()) options.model = default_model();
    if (!options.users.empty()) return;
    options.users = default_users(options.model);
    if (!is_file(options.users)) options.users.clear();
}

bool load_users(const std::string& file, Users& users, std::string& error) {
    if (!file.empty() && !users_load(file, users, error)) return false;
    users_add_owner(users, system_user_name(geteuid()));
    return true;
}

// Every connection needs a descriptor: where the system allows too few, there will be fewer of them.
void fit_descriptors(Bounds& bounds) {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    rlim_t room =
        files.rlim_cur > OTHER_DESCRIPTORS ? files.rlim_cur - OTHER_DESCRIPTORS : files.rlim_cur / 4;
    if (files.rlim_cur == RLIM_INFINITY || room >= static_cast<rlim_t>(bounds.connections)) return;
    bounds.connections = std::max(1, static_cast<int>(room));
    fprintf(stderr, "obxd: %d connections at most: no more than %llu files may be open\n", bounds.connections,
            static_cast<unsigned long long>(files.rlim_cur));
}

// Ties the rooms together, and serves until a signal ends it. False with `error` where it cannot begin.
bool run(const Options& options, Users& users, TlsServerPtr tls, Store& store, std::string& error) {
    Loop loop;
    if (loop_open(loop) < 0) {
        error = strerror(errno);
        return false;
    }
    Server server{loop, {options.socket, options.listen_host, options.listen_port}, std::move(tls)};
    server.bounds = options.bounds;
    Device device{
        loop,
        store,
        users,
        {options.model, options.state_dir, options.reboot_ms, options.flash_ms, options.upload_dirs}};
    device.go_down = [&server] { server_go_down(server); };
    device.come_up = [&server] { server_come_up(server); };
    Requests requests{server, store, users, device};
    requests_start(requests);
    bool ready = server_open(server, error) && device_start(device, error);
    if (ready) {
        puts(ready_text(server).c_str());
        fflush(stdout);
        server_run(server);
    } else {
        server_go_down(server);
    }
    device_stop(device);
    return ready;
}

// The model and its values; what is odd in them is told.
// Null where that fails, with the program's `status`.
std::unique_ptr<Store> load_store(const Options& options, int& status) {
    std::string error;
    status = EXIT_FAULT;
    std::unique_ptr<Store> store = Store::load({options.model, options.services, options.deleted}, error);
    bool fine = store && (options.values.empty() || store->load_values(options.values, error));
    if (fine && !store->make_rows(options.rows, error)) {
        error = "--rows: " + error;
        status = EXIT_USAGE;
        fine = false;
    }
    if (!fine) {
        complain(error, status);
        return nullptr;
    }
    for (const std::string& note : store->notes()) complain(note, 0);
    return store;
}

// A store is a great many small pieces: the end of the process frees them all at once.
Store* until_the_end(std::unique_ptr<Store> store) {
    static Store* const kept = store.release();
    return kept;
}

int dump_model(Options options) {
    complete(options);
    int status;
    const Store* store = until_the_end(load_store(options, status));
    if (!store) return status;
    obxd::JsonRef model(store->dump());
    if (json_dumpf(model, stdout, JSON_INDENT(1) | JSON_REAL_PRECISION(15)) == 0 && puts("") >= 0 &&
        fflush(stdout) == 0)
        return 0;
    return complain(strerror(errno), EXIT_FAULT);
}

int serve(Options options) {
    complete(options);
    fit_descriptors(options.bounds);
    Users users;
    TlsServerPtr tls;
    std::string error;
    if (!load_users(options.users, users, error)) return complain(error, EXIT_FAULT);
    if (!options.tls_cert.empty() && !(tls = tls_server_load(options.tls_cert, options.tls_key, error)))
        return complain(error, EXIT_FAULT);
    int status;
    Store* store = until_the_end(load_store(options, status));
    if (!store) return status;
    malloc_trim(0);  // of what only the loading took
    if (!run(options, users, std::move(tls), *store, error)) return complain(error, EXIT_FAULT);
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
        case Options::DUMP_MODEL:
            return dump_model(options);
        case Options::SERVE:
            break;
    }
    return serve(options);
}
