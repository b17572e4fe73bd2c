#include "ox_jrpclist.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_tr_names.hpp"

namespace {

ox_list_element element_of(const json_t* item) {
    const json_t* name = json_object_get(item, OX_TR_NAME);
    json_t* value = json_object_get(item, OX_TR_VALUE);
    ox_list_element element = {};
    element.name = json_string_value(name);
    element.name_length = json_string_length(name);
    element.type = value ? static_cast<int>(json_typeof(value)) : -1;
    element.text = json_string_value(value);
    element.text_length = json_string_length(value);
    element.integer = json_integer_value(value);
    element.value = json_is_string(value) || json_is_integer(value) ? nullptr : value;
    element.attributes = json_object_get(item, OX_TR_ATTRIBUTES);
    return element;
}

}  // namespace

void ox_list_hand_on(const json_t* list, const ox_list_taker* taker) {
    taker->begin(taker->context);
    for (size_t i = 0; i < json_array_size(list); ++i) {
        const json_t* item = json_array_get(list, i);
        if (!json_is_object(item)) continue;
        ox_list_element element = element_of(item);
        taker->take(taker->context, &element);
    }
}

void ox_list_hand_on_kept(const ox_jrpcmsg* message, const ox_list_taker* taker) {
    json_t* list = json_object_get(ox_jrpcmsg_get_result_json(message), OX_TR_PARAMETER_LIST);
    if (json_array_size(list) == 0) return;
    ox_list_hand_on(list, taker);
    json_array_clear(list);
}
