// The queued changes of the data model and the cache.
#pragma once

#include <jansson.h>
#include <stddef.h>

/// Data-model changes that wait to be folded into the cache: an array of {"Action","Path","InstanceNumber"},
/// owned, or null.
extern json_t* pending_model_events;
/// Queues the params of a change event, borrowed; what cannot be folded in for want of a member is dropped.
/// In a shell that nobody uses, the queue stays bounded: past MODEL_EVENTS_MAX the objects that it names are
/// to be fetched anew instead.
void model_change_queue(json_t* params);
inline constexpr size_t MODEL_EVENTS_MAX = 10000;
/// Queue a change that this program made, so that the next command knows it before its event arrives: a new
/// instance of `object`, and a deleted `instance` (a path that names none is no change). Both paths with or
/// without their final ".". Nothing without a model.
void model_instance_added(const char* object, int number);
void model_instance_deleted(const char* instance);
/// Folds `pending_model_events` into the cache of node metadata: one request for all instances that were
/// added, none for those that were removed. Whoever looks into the cache calls it first. For a hint
/// (fetch_in_background) the request is only begun, and the events stay queued until it is answered.
void model_events_fold(void);
/// Folds in what such a request has brought. True when it did.
bool model_changes_continue(void);
/// The answer to such a request is not wanted any more; the events stay queued.
void model_changes_drop_begun(void);
