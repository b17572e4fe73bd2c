// Lists in columns.
#pragma once

#include <jansson.h>
#include <stddef.h>

/// Columns that a text takes: wide characters two, combining and control characters none.
size_t ox_text_columns(const char* text, size_t size);
/// Prints a JSON array of strings in columns, down then across, as wide as the terminal; one a line when
/// standard output is no terminal. Names are escaped where standard output is a terminal (ox_out.hpp).
void ox_rl_show_list(const json_t* list);
