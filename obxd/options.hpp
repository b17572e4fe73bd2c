// The daemon's command line.
#pragma once

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "bounds.hpp"

namespace obxd {

struct Options {
    enum Action { SERVE, HELP, VERSION, HASH_PASSWORD, HASH_TOKEN, MAKE_IMAGE, DUMP_MODEL } action = SERVE;
    std::string socket = "/var/run/obxd.sock";
    std::string listen_host;  ///< "" with listen_port -1: no TCP
    int listen_port = -1;
    std::string tls_cert, tls_key;
    std::string model, values, state_dir, users;
    std::map<std::string, uint32_t> rows;  ///< that are made up: by the table's path, "" for all others
    std::vector<std::string> services;
    bool deleted = false;
    std::string image_version, image_payload, image_file;
    int reboot_ms = 500;
    int flash_ms = 2000;
    Bounds bounds;
    std::vector<std::string> upload_dirs;  ///< where files may be written beside the state directory
};

/// Fills `options` from the command line. False with a one-line `error` when it makes no sense.
bool options_parse(int argc, char* const* argv, Options& options, std::string& error);
const char* options_help();

}  // namespace obxd
