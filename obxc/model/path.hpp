// Paths: the grammar of path arguments, the current node, and moving through the model.
#pragma once

#include "obxc.hpp"

extern NodePath current_path;
extern NodePath previous_path;

/// Zero-fills the destination and copies node, parents, `multi`, `ordered`, `input_allowed` and the text; the
/// copy's other flags are clear. The caller releases it with path_free. Returns the copy's text.
const char* path_copy(NodePath* destination, const NodePath* source);
/// Releases the parents, and the record too when it is heap-owned. Does not touch the node.
void path_free(NodePath* p);
/// Back to the root; `via_template` and `heap_owned` stay.
void path_reset(NodePath* p);
/// Descends to a child. Returns 0, or -1 when the text would exceed 258 characters (nothing changes then).
int path_push(NodePath* p, json_t* child, const char* name, int multi, int ordered);
/// Walks `text` from `p`, in place. 0; -1 when a component cannot be resolved (`p` holds what was reached);
/// -2 when `text` is absent. With `quiet`, "-" prints nothing. Names match ignoring case; where two members
/// differ in nothing else, the exact spelling wins, else the first one in the cache's order.
int path_resolve(NodePath* p, const char* text, bool quiet = false);

/// True when the first `max` characters (-1: all) are 1 to 20 decimal digits and nothing else.
bool is_instance_number(const char* text, int max);
bool node_is_parameter(const json_t* node);
/// True when `p` names the root of a loaded model, or nothing is loaded.
bool path_is_root(const NodePath* p);

/// Walks a path's own text ("#template" and "#input" included) from the root. Without `fetch` only what the
/// cache holds is followed. False when a component is missing; `p` then holds what was reached.
bool path_follow(NodePath* p, const char* text, bool fetch);
/// Keeps the nodes of the current and the previous path alive, whatever the cache drops. Call it after either
/// was changed.
void paths_pin(void);
/// Brings the current and the previous path in line with a cache whose nodes were fetched anew, as far as it
/// holds them, and pins them.
void paths_refresh(void);

/// A working copy of a place, by default the current node, released at the end of its scope.
struct ScopedPath : NodePath, ox_held {
    explicit ScopedPath(const NodePath* source = &current_path);
    ~ScopedPath() { path_free(this); }
};

int cd_command(const char* name, json_t* args);
int up_command(const char* name, json_t* args);
int pwd_command(const char* name, json_t* args);
