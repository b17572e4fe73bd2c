// Lists of names and values as trees: every name is found where it belongs.
#include <string.h>

#include "fuzz.hpp"
#include "ox_conf_path.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"

namespace {

void names(const json_t* list, const char* base) {
    JsonRef tree(ox_tr_names_to_config(list, base));
    REQUIRE(json_is_object(tree.get()));
    for (ox_tr_element element : ox_tr_elements(list)) ox_tr_node_find(tree, element.name);
}

void values(const json_t* list) {
    JsonRef tree(ox_tr_namevalues_to_config(list, nullptr));
    if (!tree) return;
    for (ox_tr_element element : ox_tr_elements(list)) ox_conf_find_branch(tree, element.name);
}

}  // namespace

// Lines: the base, and the list.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    std::string base = input.text();
    std::string text = input.rest();
    JsonRef list(json_loadb(text.data(), text.size(), 0, nullptr));
    names(list, nullptr);
    names(list, base.c_str());
    values(list);
    return 0;
}
