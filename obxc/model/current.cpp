#include "model/current.hpp"

#include "model/cache.hpp"
#include "model/node_fetch.hpp"
#include "session/prompt.hpp"

NodePath current_path;
NodePath previous_path;

namespace {

unsigned seen_generation = 0;  // of the cache, when the paths were last brought in line with it

void refresh(NodePath* p) {
    if (!p->node || !dm_root) return;
    NodePath found = {};
    if (!path_follow(&found, p->path, false)) {
        path_free(&found);
        return;
    }
    found.input_allowed = p->input_allowed;
    found.via_template = p->via_template;
    path_free(p);
    *p = found;
}

void forget_node(NodePath* p) {
    json_decref(p->node);
    p->node = nullptr;
}

}  // namespace

ScopedPath::ScopedPath(const NodePath* source)
    : NodePath{}, ox_held([](ox_held* self) { static_cast<ScopedPath*>(self)->~ScopedPath(); }) {
    path_copy(this, source);
}

void current_move(const NodePath* place, const NodePath* before) {
    NodePath old_current = current_path;
    NodePath old_previous = previous_path;
    path_copy(&current_path, place);
    path_copy(&previous_path, before);
    // Only now: `place` and `before` may be these.
    path_free(&old_current);
    path_free(&old_previous);
    prompt_set_path(current_path.path);
}

bool previous_find(void) {
    if (previous_path.node || !dm_root) return true;
    ScopedPath found;
    if (!path_follow(&found, previous_path.path, true)) return false;
    path_free(&previous_path);
    path_copy(&previous_path, &found);
    return true;
}

void paths_refresh(void) {
    if (seen_generation == dm_generation) return;
    seen_generation = dm_generation;
    refresh(&current_path);
    refresh(&previous_path);
}

json_t* dm_reload(void) {
    cache_clear(true);
    forget_node(&previous_path);
    json_array_clear(previous_path.parents);
    path_reset(&current_path);
    node_fetch(&current_path);
    prompt_set_path(current_path.path);
    return dm_root;
}

void dm_identity_changed(void) {
    if (dm_root) dm_reload();
}

void dm_free(void) {
    cache_clear(false);
    forget_node(&current_path);
    forget_node(&previous_path);
}
