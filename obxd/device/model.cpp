#include "device/model.hpp"

#include "answers.hpp"
#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"

namespace obxd {

namespace {

// The list of the answer: the node itself with level 0, what is right below it with level 1. A new reference.
json_t* list_attributes(Store& store, const std::string& path, int level) {
    JsonRef params(json_pack("{s:[s], s:i}", OX_TR_PARAMETER_NAMES, path.c_str(), OX_TR_LEVEL, level));
    Answer answer = store.get_attributes(Caller{"", "system", true}, params);
    std::string text = answer.text.str();
    JsonRef result(json_loadb(text.data(), text.size(), 0, nullptr));
    return json_incref(ox_tr_result_list(result));
}

}  // namespace

JsonRef model_attributes(Store& store, const std::string& path) {
    JsonRef list(list_attributes(store, path, 0));
    json_t* attributes = json_object_get(json_array_get(list, 0), OX_TR_ATTRIBUTES);
    return JsonRef(attributes ? json_incref(attributes) : json_object());
}

std::vector<std::string> model_children(Store& store, const std::string& object) {
    JsonRef list(list_attributes(store, object + ".", 1));
    std::vector<std::string> paths;
    for (ox_tr_element element : ox_tr_elements(list)) paths.emplace_back(element.name);
    return paths;
}

Rank model_call_rank(Store& store, const std::string& path) {
    int rank = store.write_rank(path);
    return rank < 0 ? RANK_ADMIN : static_cast<Rank>(rank);
}

}  // namespace obxd
