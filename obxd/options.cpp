#include "options.hpp"

#include <getopt.h>
#include <stdlib.h>

#include "address.hpp"

namespace obxd {

namespace {

enum {
    OPT_HASH_PASSWORD = 256,
    OPT_HASH_TOKEN,
    OPT_MAKE_IMAGE,
    OPT_REBOOT_MS,
    OPT_FLASH_MS,
    OPT_VALUES,
    OPT_UPLOAD_DIR,
    OPT_MAX_CONNECTIONS,
    OPT_MAX_GUESTS,
    OPT_MAX_PER_SOURCE,
    OPT_GUEST_IDLE,
    OPT_ROWS,
    OPT_SERVICE,
    OPT_DELETED,
    OPT_DUMP_MODEL
};

constexpr int MAX_CONNECTIONS = 100000;
constexpr int MAX_IDLE_S = 86400;

const option LONG_OPTIONS[] = {
    {"socket", required_argument, nullptr, 's'},
    {"listen", required_argument, nullptr, 'l'},
    {"tls-cert", required_argument, nullptr, 'c'},
    {"tls-key", required_argument, nullptr, 'k'},
    {"model", required_argument, nullptr, 'm'},
    {"service", required_argument, nullptr, OPT_SERVICE},
    {"deleted", no_argument, nullptr, OPT_DELETED},
    {"values", required_argument, nullptr, OPT_VALUES},
    {"rows", required_argument, nullptr, OPT_ROWS},
    {"state", required_argument, nullptr, 'd'},
    {"users", required_argument, nullptr, 'u'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {"hash-password", no_argument, nullptr, OPT_HASH_PASSWORD},
    {"hash-token", no_argument, nullptr, OPT_HASH_TOKEN},
    {"make-image", no_argument, nullptr, OPT_MAKE_IMAGE},
    {"dump-model", no_argument, nullptr, OPT_DUMP_MODEL},
    {"reboot-ms", required_argument, nullptr, OPT_REBOOT_MS},
    {"flash-ms", required_argument, nullptr, OPT_FLASH_MS},
    {"upload-dir", required_argument, nullptr, OPT_UPLOAD_DIR},
    {"max-connections", required_argument, nullptr, OPT_MAX_CONNECTIONS},
    {"max-guests", required_argument, nullptr, OPT_MAX_GUESTS},
    {"max-per-source", required_argument, nullptr, OPT_MAX_PER_SOURCE},
    {"guest-idle", required_argument, nullptr, OPT_GUEST_IDLE},
    {},
};

bool read_number(const char* text, int least, int most, int& value) {
    char* end = nullptr;
    long number = strtol(text, &end, 10);
    if (end == text || *end || number < least || number > most) return false;
    value = static_cast<int>(number);
    return true;
}

// "N", or "PATH=N".
bool read_rows(const std::string& text, std::map<std::string, uint32_t>& rows) {
    constexpr unsigned long MOST = 1000000;
    size_t equals = text.rfind('=');
    std::string number = equals == std::string::npos ? text : text.substr(equals + 1);
    char* end = nullptr;
    unsigned long count = strtoul(number.c_str(), &end, 10);
    if (number.empty() || number[0] < '0' || number[0] > '9' || *end || count > MOST || equals == 0)
        return false;
    rows[equals == std::string::npos ? "" : text.substr(0, equals)] = static_cast<uint32_t>(count);
    return true;
}

std::string option_name(int code) {
    for (const option& row : LONG_OPTIONS) {
        if (row.name && row.val == code) return std::string("--") + row.name;
    }
    return "option";
}

bool take_bound(int code, Bounds& bounds, std::string& error) {
    bool idle = code == OPT_GUEST_IDLE;
    int& value = idle                          ? bounds.guest_idle_s
                 : code == OPT_MAX_CONNECTIONS ? bounds.connections
                 : code == OPT_MAX_GUESTS      ? bounds.guests
                                               : bounds.per_source;
    int least = idle ? 0 : 1, most = idle ? MAX_IDLE_S : MAX_CONNECTIONS;
    if (read_number(optarg, least, most, value)) return true;
    error = option_name(code) + ": \"" + optarg + "\" is no number from " + std::to_string(least) + " to " +
            std::to_string(most);
    return false;
}

bool take_option(int code, Options& options, std::string& error) {
    switch (code) {
        case 's':
            options.socket = optarg;
            break;
        case 'c':
            options.tls_cert = optarg;
            break;
        case 'k':
            options.tls_key = optarg;
            break;
        case 'm':
            options.model = optarg;
            break;
        case 'd':
            options.state_dir = optarg;
            break;
        case 'u':
            options.users = optarg;
            break;
        case 'h':
            options.action = Options::HELP;
            break;
        case 'V':
            options.action = Options::VERSION;
            break;
        case OPT_HASH_PASSWORD:
            options.action = Options::HASH_PASSWORD;
            break;
        case OPT_HASH_TOKEN:
            options.action = Options::HASH_TOKEN;
            break;
        case OPT_MAKE_IMAGE:
            options.action = Options::MAKE_IMAGE;
            break;
        case OPT_DUMP_MODEL:
            options.action = Options::DUMP_MODEL;
            break;
        case OPT_SERVICE:
            options.services.emplace_back(optarg);
            break;
        case OPT_DELETED:
            options.deleted = true;
            break;
        case OPT_VALUES:
            options.values = optarg;
            break;
        case OPT_ROWS:
            if (read_rows(optarg, options.rows)) break;
            error = "--rows: \"" + std::string(optarg) +
                    "\" is no number of rows up to 1000000 and no PATH=NUMBER";
            return false;
        case 'l':
            if (split_host_port(optarg, options.listen_host, options.listen_port)) break;
            error = "--listen: \"" + std::string(optarg) + "\" is no HOST:PORT";
            return false;
        case OPT_REBOOT_MS:
        case OPT_FLASH_MS:
            if (read_number(optarg, 0, 600000, code == OPT_REBOOT_MS ? options.reboot_ms : options.flash_ms))
                break;
            error = option_name(code) + ": \"" + optarg + "\" is no number of milliseconds up to 600000";
            return false;
        case OPT_UPLOAD_DIR:
            options.upload_dirs.emplace_back(optarg);
            break;
        case OPT_MAX_CONNECTIONS:
        case OPT_MAX_GUESTS:
        case OPT_MAX_PER_SOURCE:
        case OPT_GUEST_IDLE:
            return take_bound(code, options.bounds, error);
        default:
            return false;
    }
    return true;
}

bool check(int argc, char* const* argv, Options& options, std::string& error) {
    if (options.action == Options::MAKE_IMAGE) {
        if (argc - optind != 3) {
            error = "--make-image needs VERSION, PAYLOAD and OUT";
            return false;
        }
        options.image_version = argv[optind];
        options.image_payload = argv[optind + 1];
        options.image_file = argv[optind + 2];
        return true;
    }
    if (optind < argc) {
        error = "unexpected argument \"" + std::string(argv[optind]) + "\"";
        return false;
    }
    if (options.tls_cert.empty() != options.tls_key.empty()) {
        error = "--tls-cert and --tls-key go together";
        return false;
    }
    if (options.socket.empty()) {
        error = "--socket needs a path";
        return false;
    }
    return true;
}

}  // namespace

bool options_parse(int argc, char* const* argv, Options& options, std::string& error) {
    optind = 0;
    opterr = 0;
    int code = 0;
    while ((code = getopt_long(argc, argv, "+:h", LONG_OPTIONS, nullptr)) != -1) {
        if (code == ':') {
            error = option_name(optopt) + " needs an argument";
            return false;
        }
        if (code == '?') {
            error = "unknown option \"" + std::string(argv[optind - 1]) + "\"";
            return false;
        }
        if (!take_option(code, options, error)) return false;
        if (options.action == Options::HELP || options.action == Options::VERSION) return true;
    }
    return check(argc, argv, options, error);
}

const char* options_help() {
    return "Usage: obxd [OPTION]...\n"
           "A development daemon that serves a home router's data model.\n"
           "\n"
           "  --socket PATH        local socket (default /var/run/obxd.sock)\n"
           "  --listen HOST:PORT   listen on TCP too; an IPv6 host in brackets, port 0 for any\n"
           "  --tls-cert FILE      certificate (PEM): TCP connections must use TLS, local ones may\n"
           "  --tls-key FILE       its private key (PEM)\n"
           "  --model FILE         data model to serve: a model file in JSON, or a published \"full\"\n"
           "                       document in XML (default: the router that comes with obxd)\n"
           "  --service FILE       service model in XML, mounted below Services. of that document;\n"
           "                       may be given several times\n"
           "  --deleted            nodes that the model calls deleted are there all the same\n"
           "  --values FILE        values of the model, besides those that it has\n"
           "  --rows N             make up N rows in each table\n"
           "  --rows PATH=N        make up N rows in that table\n"
           "  --state DIR          where configuration and firmware are kept (default: nowhere, a\n"
           "                       directory that is removed at the end)\n"
           "  --users FILE         users, passwords and tokens (default: users.json beside the model)\n"
           "  --reboot-ms N        how long a reboot takes (default 500)\n"
           "  --flash-ms N         how long flashing takes (default 2000)\n"
           "  --upload-dir DIR     uploads may be written below DIR too, not below the state directory\n"
           "                       alone; may be given more than once\n"
           "\n"
           "  --max-connections N  of all clients (default 256)\n"
           "  --max-guests N       of those who have not logged in (default: half of them)\n"
           "  --max-per-source N   of one address, or user of the host (default: a quarter)\n"
           "  --guest-idle N       seconds after which who has not logged in and asks for nothing is\n"
           "                       closed (default 300, 0 for never)\n"
           "\n"
           "  --hash-password      read a password from standard input, print its hash\n"
           "  --hash-token         read a token from standard input, print its hash\n"
           "  --make-image VERSION PAYLOAD OUT\n"
           "                       make a firmware image OUT of a version from the file PAYLOAD\n"
           "  --dump-model         print the model that --model and the options beside it make, as a\n"
           "                       model file in JSON\n"
           "  --help, --version\n";
}

}  // namespace obxd
