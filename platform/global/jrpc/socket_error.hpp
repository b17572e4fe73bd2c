// Socket errors (ox_socket_error): from the system's, and as texts.
#pragma once

#include "ox_socket.hpp"

/// Keeps the text of a failure for socket_error_text and returns `code`.
int socket_failure(int code, const char* text);
/// The socket error for an errno of a system call.
int socket_error_of(int error_number);
/// What ox_socket_strerror returns.
const char* socket_error_text(int code);
