// What every room of obxc shares: the handler signature, the command row, NodePath and the connections.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include "ox_colors.hpp"
#include "ox_jrpcapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcevents.hpp"
#include "ox_raii.hpp"

/// A command's handler: its name and its argument words (a JSON array of strings, the caller's). 0 or more is
/// success, negative is failure.
using CommandHandler = int (*)(const char* name, json_t* args);

/// One row of the command table.
struct ShellCommand {
    const char* name;
    const char* method;              ///< daemon method that the command stands for, or null
    uint32_t id;                     ///< aliases share one; 0 is no command
    uint32_t name_hash;              ///< filled in on the first lookup
    uint32_t method_hash;            ///< filled in on the first lookup
    CommandHandler handler;          ///< of the shell, or null
    CommandHandler request_handler;  ///< of request mode and scripts, null where it makes no sense there
    const char* syntax;              ///< usage line of `help`, or null
    const char* help;                ///< one-line description of `help`, or null
};

/// A place in the data model.
struct NodePath {
    json_t* node;     ///< the metadata node, owned by the cache; null when no data model is loaded
    json_t* parents;  ///< owned array of the ancestor nodes, nearest first
    unsigned char multi : 1;
    unsigned char ordered : 1;
    unsigned char input_allowed : 1;  ///< the component "#input" may be resolved
    unsigned char via_template : 1;   ///< the path went through "*"
    unsigned char heap_owned : 1;     ///< path_free releases the record too
    char path[259];                   ///< dotted text without leading ":" or final "."; "" at the root
};

/// The connection of all requests, and the one on which events are taken in.
extern ox_jrpcapi* request_channel;
extern ox_jrpcapi* event_channel;
/// Bound of raw requests, in milliseconds; -1: none.
extern int request_timeout_ms;
/// Cleared when the program should end its loops.
extern bool running;
