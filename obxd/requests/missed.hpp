// Changes of the model that a slow listener is still to be told.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "store/change.hpp"

namespace obxd {

/// Instances that came or went, in their order; one that did both is left out. So it is bounded by the
/// instances that the model has and those that the listener knows, however many changes there were.
struct MissedChanges {
    struct Entry {
        Change::Kind kind;
        std::string instance;  ///< "Device.Hosts.Host.3."; "": left out
    };
    std::vector<Entry> entries;
    std::unordered_map<std::string, size_t> added;  ///< where in `entries` an instance's ADD stands
    size_t left_out = 0;
};

/// Notes a change of instances. False when there are too many.
bool missed_note(MissedChanges& missed, const Change& change);

/// The changes, as they are to be told; none are left behind.
std::vector<Change> missed_take(MissedChanges& missed);

}  // namespace obxd
