#include "pattern.hpp"

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"

namespace obxd {
namespace {

bool component_fits(std::string_view wanted, std::string_view name) {
    uint32_t number;
    if (wanted == "*" || wanted == OX_TR_TEMPLATE) return ox_tr_instance_number(name, &number);
    return wanted == name;
}

}  // namespace

bool pattern_fits(std::string_view pattern, std::string_view path, size_t& pattern_left, size_t& path_left) {
    ox_tr_components wanted(pattern), names(path);
    auto want = wanted.begin();
    auto name = names.begin();
    for (; want != wanted.end() && name != names.end(); ++want, ++name)
        if (!component_fits(*want, *name)) return false;
    for (pattern_left = 0; want != wanted.end(); ++want) pattern_left++;
    for (path_left = 0; name != names.end(); ++name) path_left++;
    return true;
}

bool pattern_matches(std::string_view pattern, std::string_view path) {
    size_t pattern_left, path_left;
    return pattern_fits(pattern, path, pattern_left, path_left) && pattern_left == 0 && path_left == 0;
}

}  // namespace obxd
