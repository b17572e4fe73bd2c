// The command line: what was asked for, and how the process should run.
#pragma once

#include <jansson.h>
#include <stddef.h>
#include <stdint.h>

#include "ox_array.hpp"

enum RunMode {
    MODE_INTERACTIVE = 0,
    MODE_RAW = 1,
    MODE_LISTEN = 2,
    MODE_REQUEST = 3,
    MODE_NOTIFY = 4,
    MODE_EVENT = 5,
    MODE_SCRIPT = 6,
    MODE_SCRIPT_LUA = 7,
};

/// Start-up options. Zero-filled before parsing; texts point into the arguments, but for `args` and `groups`.
struct StartOptions {
    int mode;                 ///< RunMode
    const char* mode_name;    ///< the name of the mode chosen so far, for the conflict message
    const char* target;       ///< name of the request or notification
    uint32_t event_group;     ///< group of the event; 0 when the text was no number
    json_t* args;             ///< owned: the positional arguments, or the one raw message
    const char* script_path;  ///< null: none given
    const char* config_path;  ///< null: the default
    const char* unix_path;    ///< null: the library's default
    const char* host;         ///< no option fills it
    bool use_ssl;
    bool stands_alone;  ///< a Lua script that takes all words, and connects by itself
    int timeout_s;
    char login[256];  ///< user name or token, "" for none
    char password[256];
    ox_array<uint32_t> groups;
};

/// Fills the (zeroed) options. -1: go on; 0 or more: end with this exit status, everything is printed.
int options_parse(StartOptions* options, int argc, char** argv);
/// Takes credentials: a user and, behind ":", the password, or a token.
void options_take_auth(StartOptions* options, const char* text);
/// Releases what the options own and wipes the credentials.
void options_free(StartOptions* options);
/// `request_timeout_ms` for the options.
int options_timeout_ms(const StartOptions* options);
