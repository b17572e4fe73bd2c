// The cache is filled from the daemon: while the caller waits, or while keys are typed.
#pragma once

#include "obxc.hpp"

/// Fills the node that `p` names from the daemon: its members are replaced by the answer's. Nothing of the
/// cache is touched before the last answer is there, so the wait may be left by a jump. A failed request
/// leaves the node without children and marked "#fetched" all the same; where the daemon was not reached at
/// all, the node keeps what it had and is also marked "#lost", and the next use asks again. Nodes that are
/// replaced are released: what is borrowed from the cache is not to be used behind a fetch.
void node_fetch(NodePath* p);
/// Puts the template alone below a multi-instance object whose other children nobody asked for yet. False
/// when it is not there.
bool node_fetch_template(NodePath* p);

/// While on, for a hint: both only begin to ask, and come back at once with the node as it was. One node at a
/// time is asked for so; others have their turn when they are asked for again behind it. Who then waits for
/// the same node takes over what was begun.
void fetch_in_background(bool on);
bool fetch_is_in_background(void);
/// Goes on with what was begun, as far as the daemon has answered, for about a millisecond. True when it is
/// through: the cache has changed then, or the daemon was lost.
bool fetch_continue(void);
/// Whether it can go on at once: the answer is there.
bool fetch_goes_on(void);
/// The object at a path has other instances now. Where what was begun holds it, that is no longer wanted.
void fetch_doubt(const char* path);
/// The answer to what was begun is not wanted any more.
void fetch_drop(void);
