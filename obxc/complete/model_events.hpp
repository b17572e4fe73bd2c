// The queued changes of the data model and the cache.
#pragma once

/// Folds `pending_model_events` into the cache of node metadata: one request for all instances that were
/// added, none for those that were removed. Under a bound on fetches (node_fetch_limit) that runs out, the
/// events stay queued and are not tried again until a call without a bound.
void model_events_fold(void);
