// Checking the call of a method.

#include <strings.h>

#include "impl.hpp"

namespace obxd {
namespace {

/// The member of that name; where there is none, the one whose capitals alone differ.
const Schema* member_find(const Schema* parent, std::string_view name) {
    if (const Schema* exact = schema_child(parent, name)) return exact;
    const Schema* found = nullptr;
    for (auto& child : parent->children) {
        bool same = child->name.size() == name.size() &&
                    strncasecmp(child->name.c_str(), name.data(), name.size()) == 0;
        if (same && found) return nullptr;
        if (same) found = child.get();
    }
    return found;
}

/// The argument that a relative name means; any instance number stands for the template. `name` becomes the
/// model's own spelling.
const Schema* argument_find(const Schema* input, std::string& name) {
    std::vector<std::string_view> parts;
    if (!input || name == "." || !path_split(name, parts) || name.back() == '.') return nullptr;
    const Schema* schema = input;
    bool item = false;
    std::string spelling;
    for (std::string_view part : parts) {
        if (!spelling.empty()) spelling += '.';
        uint32_t number;
        if (schema->multi && !item) {
            if (!instance_number(part, number)) return nullptr;
            item = true;
            spelling += part;
            continue;
        }
        schema = member_find(schema, part);
        if (!schema) return nullptr;
        item = false;
        spelling += schema->name;
    }
    if (schema->kind != Schema::PARAMETER) return nullptr;
    name = spelling;
    return schema;
}

void refuse(JsonRef& data, const char* name, int code, const std::string& why) {
    if (!data) data.reset(json_object());
    json_object_set_new(data, name, json_pack("{s:i, s:s}", "code", code, "message", why.c_str()));
}

/// Fills in the defaults of the arguments that were not given, and refuses where one had to be.
void defaults_fill(const Schema* input, json_t* inputs, JsonRef& data) {
    if (!input) return;
    for (const Schema* argument : input->parameters) {
        const char* name = argument->name.c_str();
        if (json_object_get(inputs, name)) continue;
        if (argument->mandatory)
            refuse(data, name, FAULT_INVALID_ARGUMENTS, "is required");
        else if (argument->has_default)
            json_object_set(inputs, name, argument->initial);
    }
}

}  // namespace

Answer Store::check_execute(const Caller& caller, const json_t* params, std::string& path, json_t*& inputs) {
    const char* name = json_string_value(json_object_get(params, "Path"));
    if (!name) return fault(FAULT_INVALID_ARGUMENTS, "Path is no text");
    Target target;
    if (!target_find(*impl_, name, target) || !target.schema || target.schema->kind != Schema::METHOD)
        return fault(FAULT_INVALID_NAME, name);
    const Schema* method = target.schema;
    if (!method->writable || caller_rank(caller) < method->write_rank)
        return fault(FAULT_REQUEST_DENIED,
                     std::string("only ") + rank_text(method->write_rank) + " may call " + name);
    const json_t* list = json_object_get(params, "ParameterList");
    if (list && !json_is_array(list) && !json_is_null(list))
        return fault(FAULT_INVALID_ARGUMENTS, "ParameterList is no array");
    JsonRef given(json_object()), data;
    for (size_t i = 0; i < json_array_size(list); i++) {
        json_t* entry = json_array_get(list, i);
        const char* key = json_string_value(json_object_get(entry, "Name"));
        json_t* value = json_object_get(entry, "Value");
        if (!key) return fault(FAULT_INVALID_ARGUMENTS, "ParameterList holds what has no Name");
        std::string spelling = key;
        const Schema* argument = argument_find(method->input.get(), spelling);
        std::string why;
        if (!argument) {
            refuse(data, key, FAULT_INVALID_NAME, "there is no such argument");
        } else if (json_object_get(given, spelling.c_str())) {
            refuse(data, key, FAULT_INVALID_ARGUMENTS, "is named twice");
        } else if (value && !json_is_null(value)) {
            int code = value_check(*impl_, argument, target.node, value, why);
            if (code)
                refuse(data, key, code, why);
            else
                json_object_set_new(given, spelling.c_str(), value_normal(argument, value));
        }
    }
    defaults_fill(method->input.get(), given, data);
    if (data) {
        Answer answer = fault(FAULT_INVALID_ARGUMENTS, std::string(name) + " was not called");
        answer.data = data.release();
        return answer;
    }
    path = node_path(target.node) + method->name;
    inputs = given.release();
    return {};
}

}  // namespace obxd
