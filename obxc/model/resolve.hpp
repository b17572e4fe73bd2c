// The grammar of path arguments.
#pragma once

#include "obxc.hpp"

/// Walks `text` from `p`, in place. 0; -1 when a component cannot be resolved (`p` holds what was reached);
/// -2 when `text` is absent. With `quiet`, "-" prints nothing. Names match ignoring case; where two members
/// differ in nothing else, the exact spelling wins, else the first one in the cache's order.
int path_resolve(NodePath* p, const char* text, bool quiet = false);
