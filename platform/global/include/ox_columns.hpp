// Lists in columns.
#pragma once

#include <jansson.h>

/// Prints a JSON array of strings in columns, down then across, as wide as the terminal; one a line when
/// standard output is no terminal. Names are escaped where standard output is a terminal (ox_out.hpp).
void ox_rl_show_list(const json_t* list);
