// The values that a parameter may have.
#pragma once

#include "complete/offers.hpp"

/// What value completion offers to.
struct OfferedValues {
    Candidates candidates;
    const char* prefix;  ///< what is typed of the value
    const char* line;    ///< the text left of the cursor
};

void offer_value(const OfferedValues& offered, const char* value);
/// Offers each value of an array (may be null), those that are no texts as JSON writes them.
void offer_enumeration(const OfferedValues& offered, const json_t* values);
/// The enumeration of the parameter at a path: a new reference, or null.
json_t* parameter_enumeration(const char* path);
