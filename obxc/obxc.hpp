// What the rooms of obxc share: the handler signature and the place in the data model.
#pragma once

#include <jansson.h>

#include "ox_raii.hpp"

/// A command's handler: its name and its argument words (a JSON array of strings, the caller's). 0 or more is
/// success, negative is failure.
using CommandHandler = int (*)(const char* name, json_t* args);

/// A place in the data model.
struct NodePath {
    json_t* node;     ///< the metadata node, a reference; null when no data model is loaded
    json_t* parents;  ///< owned array of the ancestor nodes, nearest first
    unsigned char multi : 1;
    unsigned char ordered : 1;
    unsigned char input_allowed : 1;  ///< the component "#input" may be resolved
    unsigned char via_template : 1;   ///< the path went through "*"
    unsigned char heap_owned : 1;     ///< path_free releases the record too
    char path[259];                   ///< dotted text without leading ":" or final "."; "" at the root
};
