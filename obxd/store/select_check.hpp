// Whether a selector fits the model, whatever instances there are: one without a match must not hide a
// misspelling.
#pragma once

#include "answers.hpp"
#include "store/schema.hpp"
#include "store/selector.hpp"

namespace obxd {

/// The fault of a selector that the model does not fit, else code 0.
Answer selector_check(const Selector& selector, Schema* top);

}  // namespace obxd
