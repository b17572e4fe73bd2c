#include "ox_tr_list.hpp"
#include "ox_tr_names.hpp"

void ox_tr_elements::iterator::find() {
    for (size_t count = json_array_size(list_); index_ < count; ++index_) {
        element_.json = json_array_get(list_, index_);
        element_.name = json_string_value(json_object_get(element_.json, OX_TR_NAME));
        if (element_.name) return;
    }
}

json_t* ox_tr_result_list(const json_t* result) {
    return json_object_get(result, OX_TR_PARAMETER_LIST);
}

json_t* ox_tr_value_element_new(const char* name, json_t* value) {
    return value ? json_pack("{s : s, s : o}", OX_TR_NAME, name, OX_TR_VALUE, value) : nullptr;
}
