// Values that are too many for one answer.
#pragma once

#include "request.hpp"

/// Sets, in the table at `table`, the names and values that the daemon gives for these names (an array that
/// something else keeps alive); in parts where one answer with all of them would be too large. False: the
/// holder has the error, and some may be set.
bool set_values_of(lua_State* L, Holder* holder, int table, json_t* names);
