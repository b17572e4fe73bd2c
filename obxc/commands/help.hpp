// help: the list of commands.
#pragma once

#include "obxc.hpp"

int help_command(const char* name, json_t* args);
