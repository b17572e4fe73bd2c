#include "commands/value_list.hpp"

#include <stdint.h>
#include <string.h>

#include "model/value_format.hpp"
#include "ox_log.hpp"
#include "ox_raii.hpp"

namespace {

void put(ox_array<char>* out, const char* bytes, size_t size) {
    bool fine = out->append(bytes, size);
    __ox_log_assert(fine, "data != NULL", "value_list", __LINE__, __func__, "out of memory");
}

/// Seven bits a byte, the least ones first.
void put_number(ox_array<char>* out, uint64_t number) {
    char bytes[10];
    size_t count = 0;
    for (; number >= 0x80; number >>= 7) bytes[count++] = static_cast<char>(number | 0x80);
    bytes[count++] = static_cast<char>(number);
    put(out, bytes, count);
}

uint64_t take_number(const char** at) {
    uint64_t number = 0;
    for (int shift = 0;; shift += 7) {
        auto byte = static_cast<unsigned char>(*(*at)++);
        number |= static_cast<uint64_t>(byte & 0x7F) << shift;
        if (byte < 0x80) return number;
    }
}

size_t take_size(const char** at) {
    return static_cast<size_t>(take_number(at));
}

void put_bytes(ox_array<char>* out, ValueKind kind, const char* bytes, size_t size) {
    const char tag = kind;
    put(out, &tag, 1);
    put_number(out, size);
    put(out, bytes, size);
}

void put_integer(ox_array<char>* out, json_int_t number) {
    const char tag = VALUE_INTEGER;
    put(out, &tag, 1);
    // The sign goes last, so that small numbers stay short.
    auto bits = static_cast<uint64_t>(number);
    put_number(out, number < 0 ? ~bits << 1 | 1 : bits << 1);
}

void put_value(ox_array<char>* out, const ox_list_element* element) {
    if (element->type == JSON_STRING) {
        put_bytes(out, VALUE_STRING, element->text, element->text_length);
    } else if (element->type == JSON_INTEGER) {
        put_integer(out, element->integer);
    } else if (element->value && element->type != JSON_OBJECT) {
        CharsRef text(json_dumps(element->value, JSON_ENCODE_ANY));
        put_bytes(out, VALUE_ENCODED, text ? text.get() : "", text ? strlen(text) : 0);
    } else {
        const char tag = VALUE_NONE;
        put(out, &tag, 1);
    }
}

size_t shared_length(const ox_array<char>& name, const ox_list_element* element) {
    size_t most = name.size < element->name_length ? name.size : element->name_length;
    size_t length = 0;
    while (length < most && name[length] == element->name[length]) ++length;
    return length;
}

template <typename T>
void drop(ox_held* self) {
    static_cast<T*>(self)->~T();
}

}  // namespace

ValueList::ValueList() : ox_held(drop<ValueList>), bytes{}, name{} {}

ValueList::~ValueList() {
    bytes.clear();
    name.clear();
}

ValueWalk::ValueWalk(const ValueList* values) : ox_held(drop<ValueWalk>), list(values), at(0), name{} {}

ValueWalk::~ValueWalk() {
    name.clear();
}

void value_list_cut(ValueList* list, size_t size) {
    list->bytes.size = size;
    list->name.size = 0;
}

void value_list_add(ValueList* list, const ox_list_element* element) {
    if (!element->name) return;
    size_t shared = shared_length(list->name, element);
    const char* rest = element->name + shared;
    size_t length = element->name_length - shared;
    put_number(&list->bytes, shared);
    put_number(&list->bytes, length);
    put(&list->bytes, rest, length);
    put_value(&list->bytes, element);
    list->name.size = shared;
    put(&list->name, rest, length);
}

bool value_walk_next(ValueWalk* walk, ListedValue* value) {
    if (walk->at >= walk->list->bytes.size) return false;
    const char* at = walk->list->bytes.data + walk->at;
    walk->name.size = take_size(&at);
    size_t length = take_size(&at);
    put(&walk->name, at, length);
    at += length;
    *value = {};
    value->name_length = walk->name.size;
    put(&walk->name, "", 1);
    value->name = walk->name.data;
    value->kind = static_cast<ValueKind>(*at++);
    if (value->kind == VALUE_INTEGER) {
        uint64_t bits = take_number(&at);
        value->integer = static_cast<json_int_t>(bits & 1 ? ~(bits >> 1) : bits >> 1);
    } else if (value->kind != VALUE_NONE) {
        value->size = take_size(&at);
        value->bytes = at;
        at += value->size;
    }
    walk->at = static_cast<size_t>(at - walk->list->bytes.data);
    return true;
}
