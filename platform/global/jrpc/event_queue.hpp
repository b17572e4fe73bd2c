// The events that wait to be taken: the newest 4 MiB of them, oldest first.
#pragma once

#include <jansson.h>
#include <stddef.h>

#include "ox_jrpcmsg.hpp"

/// Adds an event (borrowed); `text` is its JSON text of `size` bytes, or null. The oldest events give way to
/// it.
void event_queue_add(const json_t* event, const char* text, size_t size);
bool event_queue_is_empty(void);
/// The oldest event as a message, or null.
ox_jrpcmsg* event_queue_pop(void);
/// Hands all events of a group to `take`, oldest first, and releases each behind it.
void event_queue_take(uint32_t group, void (*take)(ox_jrpcmsg* message));
/// Counts an event that was dropped.
void event_queue_lose(void);
/// Whether events were dropped since the last call of event_queue_take_lost.
bool event_queue_has_lost(void);
/// How many events were dropped since the last call.
size_t event_queue_take_lost(void);
/// Drops all, and the count.
void event_queue_clear(void);
