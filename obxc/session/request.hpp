// The exchange of one request with the daemon, and the report of its outcome.
#pragma once

#include "ox_jrpclist.hpp"
#include "ox_raii.hpp"
#include "session/channels.hpp"

/// A request of a method. Takes a reference of its own on `params` (may be null): the caller keeps its one.
ox_jrpcmsg* request_new(const char* method, json_t* params);

/// Executes a request on `request_channel` and leaves the response in the message. One retry after socket
/// error -7. The connection's time-out is 5000 ms afterwards.
void request_exec(ox_jrpcmsg* message, int timeout_ms);

/// The same, but the elements of the answer's list go to the taker while they arrive (ox_jrpcapi_exec_list).
void request_exec_list(ox_jrpcmsg* message, int timeout_ms, const ox_list_taker* taker);
/// True when an executed request got no answer because that is too large.
bool request_too_large(const ox_jrpcmsg* message);

/// True when an executed request failed on the way: the daemon gave no answer.
bool request_lost(const ox_jrpcmsg* message);
/// Puts the time-out of `request_channel` back after an exchange that was left by a jump.
void request_recover(void);

/// Prints the outcome of an executed message: "Status: OK", or "[code] message: detail" and the error data.
void response_report(const ox_jrpcmsg* message);
