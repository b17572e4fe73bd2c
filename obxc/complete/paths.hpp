// Paths of the data model, the values behind their "=", and the arguments of methods. What needs quotes on a
// line is offered with them.
#pragma once

#include "complete/offers.hpp"

/// Paths or, after "=", values; `flags` of NodeCandidates.
void offer_paths(const TypedLine& line, const Offer& offer);
/// The arguments of the method that the first argument names, and their values.
void offer_method_arguments(const TypedLine& line, const Offer& offer);
