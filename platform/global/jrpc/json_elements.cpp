#include "json_elements.hpp"

#include <string.h>

#include "ox_tr_names.hpp"

namespace {

template <size_t N>
bool is_key(const ox_array<char>& key, const char (&name)[N]) {
    return key.size == N - 1 && memcmp(key.data, name, N - 1) == 0;
}

/// The last of members of one name counts.
void forget_value(ox_list_element* element) {
    json_decref(element->value);
    element->value = nullptr;
    element->type = -1;
    element->text = nullptr;
    element->text_length = 0;
    element->integer = 0;
}

void forget_element(JsonElements* elements) {
    forget_value(&elements->element);
    json_decref(elements->element.attributes);
    json_decref(elements->other);
    elements->other = nullptr;
    elements->element = ox_list_element{};
    elements->element.type = -1;
}

bool put(ox_array<char>* out, const char* bytes, size_t size) {
    out->size = 0;
    return out->reserve(size + 1) && out->append(bytes, size) && out->append("", 1);
}

}  // namespace

json_t* json_elements_open(JsonElements* elements) {
    if (!elements->box) elements->box = json_object();
    forget_element(elements);
    return elements->box;
}

bool json_elements_text(JsonElements* elements, const ox_array<char>& key, const char* bytes, size_t size) {
    ox_list_element* element = &elements->element;
    if (is_key(key, OX_TR_NAME)) {
        if (!put(&elements->name, bytes, size)) return false;
        element->name = elements->name.data;
        element->name_length = size;
    } else if (is_key(key, OX_TR_VALUE)) {
        forget_value(element);
        if (!put(&elements->text, bytes, size)) return false;
        element->type = JSON_STRING;
        element->text = elements->text.data;
        element->text_length = size;
    } else if (is_key(key, OX_TR_ATTRIBUTES)) {
        return json_elements_value(elements, key, json_stringn_nocheck(bytes, size));
    }
    return true;
}

void json_elements_integer(JsonElements* elements, const ox_array<char>& key, json_int_t number) {
    if (is_key(key, OX_TR_VALUE)) {
        forget_value(&elements->element);
        elements->element.type = JSON_INTEGER;
        elements->element.integer = number;
    } else {
        json_elements_value(elements, key, json_null());
    }
}

bool json_elements_value(JsonElements* elements, const ox_array<char>& key, json_t* value) {
    ox_list_element* element = &elements->element;
    if (!value) return false;
    if (is_key(key, OX_TR_VALUE)) {
        forget_value(element);
        if (json_is_integer(value)) {
            json_elements_integer(elements, key, json_integer_value(value));
            json_decref(value);
        } else {
            element->type = json_typeof(value);
            element->value = value;
        }
        return true;
    }
    if (is_key(key, OX_TR_NAME)) {
        element->name = nullptr;
        element->name_length = 0;
    } else if (is_key(key, OX_TR_ATTRIBUTES)) {
        json_decref(element->attributes);
        element->attributes = value;
        return true;
    }
    json_decref(elements->other);
    elements->other = value;
    return true;
}

void json_elements_close(JsonElements* elements, size_t arrived) {
    elements->element.arrived = arrived;
    if (elements->taker) elements->taker->take(elements->taker->context, &elements->element);
    forget_element(elements);
}

void json_elements_reset(JsonElements* elements) {
    forget_element(elements);
    json_decref(elements->box);
    elements->box = nullptr;
    elements->list = nullptr;
    elements->taker = nullptr;
    elements->in_result = false;
    elements->name.clear();
    elements->text.clear();
}
