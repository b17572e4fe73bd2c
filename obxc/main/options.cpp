#include "main/options.hpp"

#include <getopt.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "lua/lua_script.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_log.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"

namespace {

constexpr const char* PROGRAM = "obxc";
constexpr int GO_ON = -1;

enum LongOnly { OPTION_RAW = 256, OPTION_SSL };

const struct option LONG_OPTIONS[] = {
    {"request", required_argument, nullptr, 'r'},    {"notify", required_argument, nullptr, 'n'},
    {"event", required_argument, nullptr, 'e'},      {"raw", required_argument, nullptr, OPTION_RAW},
    {"timeout", required_argument, nullptr, 't'},    {"script", optional_argument, nullptr, 's'},
    {"lua-script", required_argument, nullptr, 'S'}, {"listen", no_argument, nullptr, 'l'},
    {"groups", required_argument, nullptr, 'g'},     {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},          {"ssl", no_argument, nullptr, OPTION_SSL},
    {"unixpath", required_argument, nullptr, 'u'},   {"auth", required_argument, nullptr, 'a'},
    {"config", required_argument, nullptr, 'c'},     {nullptr, 0, nullptr, 0},
};

void print_usage(FILE* out) {
    fprintf(
        out,
        "Ombrix Management System client.\n"
        "Usage: %s [options]\n"
        "\n"
        "Options:\n"
        "\t-r, --request <name> [<params>]     Proceed request.\n"
        "\t-n, --notify <name> [<params>]      Send notify.\n"
        "\t-e, --event <id> [<params>]         Send event.\n"
        "\t-l, --listen                        Listen for incoming events (specify as -g).\n"
        "\t    --raw <json-msg>                Send raw JSON-RPC message.\n"
        "\t-t  --timeout <seconds>             Timeout for send raw JSON-RPC message\n"
        "\t-s, --script <path-to-script>       Proceed script file.\n"
        "\t-S, --lua-script <path-to-script>   Proceed Lua script file.\n"
        "\t-g, --groups <gr1>[,<gr2>,..,<grN>] Join selected groups.\n"
        "\t    --ssl                           Use SSL layer.\n"
        "\t-c, --config <path>                 Path to config file (default is \"$HOME/.local/%s/config\").\n"
        "\t-u, --unixpath <path>               UNIX socket path to connect (default is \"%s\").\n"
        "\t-a  --auth [login:password|token]   Authorization data.\n"
        "\t-h, --help                          Print this help message.\n"
        "\t-v, --version                       Display %s version.\n",
        PROGRAM, PROGRAM, OX_JRPCAPI_DEFAULT_SOCKET, PROGRAM);
}

void print_version() {
    printf("Ombrix Management System client.\n");
    printf("%s version %s\n", PROGRAM, OBX_VERSION);
}

int group_parse(const char* text, uint32_t* group) {
    uint64_t number;
    if (ox_string_strntoul(text, -1, 10, &number) < 0 || number > UINT32_MAX) return -1;
    *group = static_cast<uint32_t>(number);
    return 0;
}

int groups_parse(StartOptions* options, const char* list) {
    CharsRef copy(ox_memory_text(list));
    char* rest = nullptr;
    for (char* piece = strtok_r(copy, ",", &rest); piece; piece = strtok_r(nullptr, ",", &rest)) {
        uint32_t group;
        if (group_parse(piece, &group) < 0) {
            fprintf(stderr, "Invalid group number: '%s'.\n", piece);
            return EXIT_FAILURE;
        }
        options->groups.push(group);
    }
    return GO_ON;
}

/// The one-mode rule. `said` is how a conflict names the new mode, `name` what later conflicts call it.
int mode_choose(StartOptions* options, int mode, const char* said, const char* name) {
    if (options->mode != MODE_INTERACTIVE) {
        fprintf(stderr, "Cannot execute '%s' and '%s' modes simultaneously.\n", said, options->mode_name);
        return EXIT_FAILURE;
    }
    options->mode = mode;
    options->mode_name = name;
    return GO_ON;
}

int arg_append(StartOptions* options, const char* text) {
    json_t* word = json_string(text);
    // A text that has to be JSON is refused as bad JSON later on, and null stands for it until then.
    if (!word && (options->mode == MODE_RAW || options->mode == MODE_EVENT)) word = json_null();
    if (!word) {
        fputs("An argument is no UTF-8 text.\n", stderr);
        return EXIT_FAILURE;
    }
    json_array_append_new(options->args, word);
    return GO_ON;
}

int event_option(StartOptions* options, const char* id) {
    int status = mode_choose(options, MODE_EVENT, "event", "event");
    if (status != GO_ON) return status;
    if (group_parse(id, &options->event_group) < 0) fputs("Group id must be an integer.\n", stderr);
    return GO_ON;
}

int named_option(StartOptions* options, int mode, const char* name, const char* target) {
    int status = mode_choose(options, mode, name, name);
    if (status == GO_ON) options->target = target;
    return status;
}

int option_apply(StartOptions* options, int option, char* argument) {
    int status;
    switch (option) {
        case 'r':
            return named_option(options, MODE_REQUEST, "request", argument);
        case 'n':
            return named_option(options, MODE_NOTIFY, "notify", argument);
        case 'e':
            return event_option(options, argument);
        case 'l':
            return mode_choose(options, MODE_LISTEN, "listen", "listen");
        case OPTION_RAW:
            status = mode_choose(options, MODE_RAW, "raw", "raw");
            return status == GO_ON ? arg_append(options, argument) : status;
        case 's':
            options->script_path = argument;
            return mode_choose(options, MODE_SCRIPT, "script", "script");
        case 'S':
            options->script_path = argument;
            return mode_choose(options, MODE_SCRIPT_LUA, "script", "script-lua");  // "script" for both
        case 't':
            options->timeout_s = atoi(argument);
            return GO_ON;
        case 'g':
            return groups_parse(options, argument);
        case 'u':
            options->unix_path = argument;
            return GO_ON;
        case 'a':
            options_take_auth(options, argument);
            memset(argument, '*', strlen(argument));  // no list of processes shows a password or token
            return GO_ON;
        case 'c':
            options->config_path = argument;
            return GO_ON;
        case OPTION_SSL:
            options->use_ssl = true;
            return GO_ON;
        case 'h':
            print_usage(stdout);
            return EXIT_SUCCESS;
        case 'v':
            print_version();
            return EXIT_SUCCESS;
        default:
            print_usage(stderr);
            return EXIT_FAILURE;
    }
}

// The program's name chooses a mode. The message of a conflict with it names the mode "interactive" all the
// same, because no option named another one: that is the text which scripts have always got.
void name_apply(StartOptions* options, const char* path) {
    const char* slash = strrchr(path, '/');
    const char* name = slash ? slash + 1 : path;
    if (strcmp(name, "obxc_interpreter") == 0) options->mode = MODE_SCRIPT;
    if (strcmp(name, "obxc_lua") == 0) options->mode = MODE_SCRIPT_LUA;
}

/// A credential among the words of a script that takes them all is covered as well, once they are copied.
void auth_words_cover(int argc, char** argv) {
    for (int i = 2; i < argc && strcmp(argv[i], "--") != 0; i++) {
        if (strncmp(argv[i], "-a", 2) != 0) continue;
        char* secret = argv[i][2] ? argv[i] + 2 : i + 1 < argc ? argv[i + 1] : argv[i] + 2;
        memset(secret, '*', strlen(secret));
    }
}

}  // namespace

int options_parse(StartOptions* options, int argc, char** argv) {
    options->mode_name = "interactive";
    options->args = json_array();
    name_apply(options, argc > 0 ? argv[0] : "");
    options->stands_alone = options->mode == MODE_SCRIPT_LUA && argc > 1 && lua_script_stands_alone(argv[1]);
    optind = options->stands_alone ? 1 : 0;
    opterr = 0;  // the usage text is the whole message
    while (!options->stands_alone) {
        int option = getopt_long(argc, argv, "c:s?S:r:n:e:g:i:u:a:t:lhv", LONG_OPTIONS, nullptr);
        if (option < 0) break;
        int status = option_apply(options, option, optarg);
        if (status != GO_ON) return status;
    }
    if (options->mode == MODE_RAW) return GO_ON;
    for (int i = optind; i < argc; i++) {
        int status = arg_append(options, argv[i]);
        if (status != GO_ON) return status;
    }
    if (options->stands_alone) auth_words_cover(argc, argv);
    return GO_ON;
}

void options_take_auth(StartOptions* options, const char* text) {
    const char* colon = strchr(text, ':');
    size_t login_length = colon ? static_cast<size_t>(colon - text) : strlen(text);
    if (login_length > sizeof(options->login) - 1) login_length = sizeof(options->login) - 1;
    ox_string_strlcpy(options->login, text, login_length + 1);
    ox_string_strlcpy(options->password, colon ? colon + 1 : "", sizeof(options->password));
}

void options_free(StartOptions* options) {
    json_decref(options->args);
    options->args = nullptr;
    options->groups.clear();
    explicit_bzero(options->login, sizeof(options->login));
    explicit_bzero(options->password, sizeof(options->password));
}

int options_timeout_ms(const StartOptions* options) {
    if (options->timeout_s == 0) return OX_JRPCAPI_TIMEOUT_MS;
    long long ms = options->timeout_s * 1000LL;
    if (ms > INT_MAX) return INT_MAX;
    return ms < 0 ? -1 : static_cast<int>(ms);
}
