// Lines from a pipe, a file, or for one: nothing is drawn, bytes stay as they are.
#pragma once

#include "ox_plain.hpp"

/// Takes a byte, as ox_rl_async_feed does.
char* plain_feed(int key, int* status);
/// Drops the line so far.
void plain_drop(void);
