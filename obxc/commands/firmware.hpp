// The firmware transaction of `download firmware` and `upgrade`.
#pragma once

#include <jansson.h>

/// Runs the transaction with the given Download params (changed on the way). Returns -1 when the daemon
/// refuses, 0 when the person cancels; does not return once the flashing was followed to its end: the device
/// goes down then, and the program ends with 0, or with 1 where the firmware was not flashed.
int firmware_transaction(json_t* params);
