// Paths in which "*" or "#template" stand for any instance.
#pragma once

#include <stddef.h>

#include <string_view>

namespace obxd {

/// Compares a path with a pattern, component by component, up to the end of the shorter one. False when two
/// differ; else what is left of either, in components.
bool pattern_fits(std::string_view pattern, std::string_view path, size_t& pattern_left, size_t& path_left);
/// The same for a path that must be as long as the pattern.
bool pattern_matches(std::string_view pattern, std::string_view path);

}  // namespace obxd
