// A daemon inside the process, for the client's own connections: it answers each request with the next line
// of a list, and is at work whenever the client waits. Time passes only in waits, and at once.
//
// A line is the result of one request as JSON; an object with "result", "error" or "method" is the message
// itself (its id is put right), and behind an event the next line is looked at; "?" is no answer, "!" closes
// the connection, any other text is sent as it is.
#pragma once

#include <string>

/// From now on the socket at this path is served. To be called once.
const std::string& peer_path();
/// Forgets its connections, and takes these lines from now on. Where none is left, results are empty.
void peer_begin(const std::string& lines);
/// From now on the result of each request is its own params.
void peer_echo();
/// How long the client has waited so far.
long long peer_waited_ms();
