// The command table: one row for each shell command.
#pragma once

#include <stdint.h>

#include "complete/offers.hpp"
#include "obxc.hpp"

/// One row of the command table.
struct ShellCommand {
    const char* name;
    const char* method;              ///< daemon method that the command stands for, or null
    uint32_t id;                     ///< aliases share one; 0 is no command
    uint32_t name_hash;              ///< filled in on the first lookup
    uint32_t method_hash;            ///< filled in on the first lookup
    CommandHandler handler;          ///< of the shell, or null
    CommandHandler request_handler;  ///< of request mode and scripts, null where it makes no sense there
    Offers offers;                   ///< what Tab offers for its words, or null
    const char* syntax;              ///< usage line of `help`, or null
    const char* help;                ///< one-line description of `help`, or null
};

enum { COMMAND_COUNT = 37 };

/// In an order that matters: a lookup takes the first row that matches by name or by method.
extern ShellCommand command_table[COMMAND_COUNT];
