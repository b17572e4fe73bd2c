// The run modes.
#pragma once

#include "main/options.hpp"

/// Runs the chosen mode; its result is the exit status.
int mode_run(const StartOptions* options);
