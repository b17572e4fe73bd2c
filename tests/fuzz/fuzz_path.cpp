// Paths of the data model: components, parents, joins and the canonical form.
#include <string.h>

#include "fuzz.hpp"
#include "ox_conf_path.hpp"
#include "ox_tr_path.hpp"

namespace {

void components(std::string_view path) {
    size_t bytes = 0;
    std::string_view last;
    for (std::string_view name : ox_tr_components(path)) {
        REQUIRE(!name.empty() && name.find('.') == std::string_view::npos);
        REQUIRE(name.data() >= path.data() && name.data() + name.size() <= path.data() + path.size());
        bytes += name.size();
        last = name;
    }
    REQUIRE(bytes <= path.size());
    REQUIRE(ox_tr_path_leaf(path) == last);
    REQUIRE(ox_tr_path_parent(path) <= path.size());
}

void numbers(std::string_view text) {
    uint32_t number = 0;
    if (!ox_tr_instance_number(text, &number)) return;
    REQUIRE(number > 0 && ox_tr_is_instance(text) && std::to_string(number) == text);
}

void join(std::string_view path, std::string_view component) {
    char buffer[64] = "";
    if (path.size() >= sizeof buffer) return;
    memcpy(buffer, path.data(), path.size());
    buffer[path.size()] = '\0';
    std::string before = buffer;
    if (!ox_tr_path_join(buffer, sizeof buffer, component)) REQUIRE(before == buffer);
    REQUIRE(strlen(buffer) < sizeof buffer);
}

void canonical(const char* text) {
    char once[OX_CONF_PATH_SIZE], twice[OX_CONF_PATH_SIZE];
    if (ox_conf_path_canonize(0, text, once) != 0) {
        REQUIRE(once[0] == '\0');
        return;
    }
    // A ":" in front says that a path is absolute; "<" may bring another one there.
    if (once[0] != ':') REQUIRE(ox_conf_path_canonize(0, once, twice) == 0 && strcmp(once, twice) == 0);
    std::string cut = once;
    ox_conf_strip_path_adv(cut.data(), 0, 1);
    REQUIRE(strlen(cut.c_str()) <= strlen(once));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    std::string first = input.text();
    std::string second = input.text();
    components(first);
    numbers(first);
    join(first.c_str(), second.c_str());
    canonical(first.c_str());
    const char* below = ox_tr_path_below(first.c_str(), second.c_str());
    if (below) REQUIRE(below >= first.c_str() && below <= first.c_str() + strlen(first.c_str()));
    if (ox_tr_path_is_exact(first)) REQUIRE(first == "." || first.find("..") == std::string::npos);
    return 0;
}
