// The request to the daemon whose response nobody waits for: what a hint lacks.
#pragma once

#include "ox_jrpclist.hpp"
#include "ox_jrpcmsg.hpp"

/// Sends a request whose response nobody waits for now, where the connection is there and no other such
/// request is underway; false where not. The elements of the response's list go to the taker. Message and
/// taker must live until it is no longer underway.
bool request_begin(ox_jrpcmsg* message, const ox_list_taker* taker);
/// Whether the response is still to come. If not, the message is as behind request_exec.
bool request_is_underway(const ox_jrpcmsg* message);
/// Waits for it, without bound. A jump out of the wait leaves it underway.
void request_finish(ox_jrpcmsg* message);
/// Nobody wants the response any more: the message counts as lost.
void request_abandon(ox_jrpcmsg* message);
