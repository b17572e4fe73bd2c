// What a key of the line editor asks the daemon for.
#pragma once

/// Runs what may wait for the daemon while the line is edited. Ctrl-C abandons it: what it holds is released,
/// the line, the cache and the connection stay as they are, and the result is false. Not to be called while a
/// command runs, whose interrupt this would be.
bool key_wait(void (*run)(void* context), void* context);
