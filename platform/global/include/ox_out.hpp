// Text from the daemon on standard output: it cannot steer the terminal.
#pragma once

#include <stddef.h>
#include <stdio.h>

#include "ox_str.hpp"

/// From now on the output of these functions stops, even within a text, as soon as `cancelled` says so.
void ox_out_set_cancel(bool (*cancelled)(void));
/// To be called behind each line of a longer output: on a serial line it goes out before the next is made.
/// False as soon as output is to stop.
bool ox_out_line(void);
/// Writes bytes as they are.
void ox_out_write(FILE* file, const char* data, size_t size);
/// Writes `length` bytes (-1: up to the terminating zero) to standard output. On a terminal, control
/// characters (C0, DEL and the C1 range in UTF-8 or as lone bytes) are written as \xNN; elsewhere the bytes
/// stay as they are.
void ox_out_text(const char* text, long length = -1);
/// The same for a message of several lines: newlines and tabs are written as they are.
void ox_out_message(const char* text);
/// Writes to standard error what ox_out_text would write to standard output, but newlines and tabs as they
/// are, and `allowed` (texts up to a null) too.
void ox_out_error_text(const char* text, const char* const* allowed);
/// Writes a text of one or more lines so, each with its newline.
void ox_out_lines(const char* text);
/// Columns that ox_out_text takes for it, counted in bytes of what it writes.
size_t ox_out_size(const char* text, long length = -1);
/// A new heap text as ox_out_text would write it.
char* ox_out_escape(const char* text, long length = -1);
/// A new text as ox_out_text would write it to a terminal, but newlines and tabs as they are.
ox_str* ox_out_escape_lines(const char* text, size_t length);
