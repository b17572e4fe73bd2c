// Where the shell stands in the model: the current and the previous node, and the model as they see it.
#pragma once

#include "model/path.hpp"
#include "obxc.hpp"
#include "ox_held.hpp"

extern NodePath current_path;
extern NodePath previous_path;

/// A working copy of a place, by default the current node, released at the end of its scope.
struct ScopedPath : NodePath, ox_held {
    explicit ScopedPath(const NodePath* source = &current_path);
    ~ScopedPath() { path_free(this); }
};

/// Makes copies of `place` the current and of `before` the previous path, and shows the place in the prompt.
void current_move(const NodePath* place, const NodePath* before);
/// After the cache was dropped the previous path is only a text: looks its node up. False when it is gone.
bool previous_find(void);
/// Brings the current and the previous path in line with a cache that has changed, as far as it holds them: a
/// path that it lost keeps the node that it knew.
void paths_refresh(void);

/// Drops the cache and rebuilds its root; resets the current node. The previous path keeps its text and is
/// looked up again when "-" asks for it. Returns the new root.
json_t* dm_reload(void);
/// What a change of identity does to the model: reloads it, where one is loaded.
void dm_identity_changed(void);
/// Releases the cache.
void dm_free(void);
