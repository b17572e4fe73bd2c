#include "execute.hpp"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <set>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/params.hpp"
#include "store/place.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"

namespace obxd {
namespace {

/// The member of that name; where there is none, the one whose capitals alone differ.
Schema* member_find(const Schema* parent, std::string_view name) {
    if (Schema* exact = schema_child(parent, name)) return exact;
    Schema* found = nullptr;
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
const Schema* argument_find(Schema* input, std::string& name) {
    if (!input || !ox_tr_path_is_exact(name) || name.back() == '.') return nullptr;
    Place place = place_of_schema(input);
    std::string spelling;
    for (std::string_view part : ox_tr_components(name)) {
        if (!spelling.empty()) spelling += '.';
        if (place.is_table()) {
            if (part == OX_TR_TEMPLATE || !place_step(place, part)) return nullptr;
            spelling += part;
        } else {
            Schema* member = member_find(place.schema, part);
            if (!member) return nullptr;
            place = place_of_schema(member);
            spelling += member->name;
        }
    }
    if (!place.is_parameter()) return nullptr;
    name = spelling;
    return place.schema;
}

/// Fills in the defaults of the arguments that were not given.
void defaults_fill(const Schema* input, json_t* inputs) {
    if (!input) return;
    for (const Schema* argument : input->parameters)
        if (argument->has_default && !json_object_get(inputs, argument->name.c_str()))
            json_object_set(inputs, argument->name.c_str(), argument->initial);
}

/// The numbers of the instances of a table of which something is given; the first one where one has to be.
std::set<uint32_t> rows_given(const Schema* table, const std::string& prefix, const json_t* inputs) {
    std::set<uint32_t> rows;
    const char* name;
    json_t* value;
    json_object_foreach(const_cast<json_t*>(inputs), name, value) {
        if (strncmp(name, prefix.c_str(), prefix.size()) == 0)
            rows.insert(static_cast<uint32_t>(strtoul(name + prefix.size(), nullptr, 10)));
    }
    if (rows.empty() && table->min_count > 0) rows.insert(1);
    return rows;
}

/// Whether something is given of an object.
bool is_given(const std::string& prefix, const json_t* inputs) {
    const char* name;
    json_t* value;
    json_object_foreach(const_cast<json_t*>(inputs), name, value) {
        if (strncmp(name, prefix.c_str(), prefix.size()) == 0) return true;
    }
    return false;
}

/// Names the arguments that have to be given and are not: of the call, and of each object and instance of
/// which something is given. `prefix` leads to them.
void mandatory_check(const Schema* object, const std::string& prefix, const json_t* inputs, JsonRef& data) {
    if (!object) return;
    for (const Schema* argument : object->parameters) {
        std::string name = prefix + argument->name;
        if (argument->mandatory && !json_object_get(inputs, name.c_str()))
            refuse(data, name.c_str(), FAULT_INVALID_ARGUMENTS, "is required");
    }
    for (const Schema* below : object->objects) {
        std::string path = prefix + below->name + ".";
        if (!below->multi && is_given(path, inputs)) mandatory_check(below, path, inputs, data);
        if (!below->multi) continue;
        for (uint32_t row : rows_given(below, path, inputs))
            mandatory_check(below, path + std::to_string(row) + ".", inputs, data);
    }
}

/// The method of a path, whose "()" may be left out or added.
bool method_find(Model& model, std::string name, Place& place) {
    if (place_find(model, name, place)) return place.is_method();
    constexpr std::string_view PARENTHESES = "()";
    if (name.ends_with(PARENTHESES))
        name.resize(name.size() - PARENTHESES.size());
    else
        name += PARENTHESES;
    return place_find(model, name, place) && place.is_method();
}

struct Call {
    Model& model;
    const Schema* method;
    const Node* owner;
    json_t* given;  ///< the arguments so far
    JsonRef& data;  ///< why arguments are refused
};

void argument_take(const Call& call, const char* key, json_t* value) {
    std::string spelling = key, why;
    const Schema* argument = argument_find(call.method->input.get(), spelling);
    if (!argument) return refuse(call.data, key, FAULT_INVALID_NAME, "there is no such argument");
    if (json_object_get(call.given, spelling.c_str()))
        return refuse(call.data, key, FAULT_INVALID_ARGUMENTS, "is named twice");
    if (!value || json_is_null(value)) return;
    int code = value_check(call.model, argument, call.owner, value, why, true);
    if (code) return refuse(call.data, key, code, why);
    json_object_set_new(call.given, spelling.c_str(), value_normal(argument, value));
}

}  // namespace

Answer execute_check(Model& model, const Caller& caller, const json_t* params, std::string& path,
                     json_t*& inputs) {
    Answer refused;
    const char* name = param_text(params, OX_TR_PATH, refused);
    if (!name) return refused;
    Place place;
    if (!method_find(model, name, place)) return answer_fault(FAULT_INVALID_NAME, name);
    const Schema* method = place.schema;
    if (!method->writable || caller_rank(caller) < method->write_rank)
        return answer_fault(FAULT_REQUEST_DENIED,
                            std::string("only ") + rank_text(method->write_rank) + " may call " + name);
    const json_t* list = json_object_get(params, OX_TR_PARAMETER_LIST);
    if (list && !json_is_null(list) && !param_list(params, refused)) return refused;
    JsonRef given(json_object()), data;
    for (size_t i = 0; i < json_array_size(list); i++) {
        json_t* entry = json_array_get(list, i);
        const char* key = json_string_value(json_object_get(entry, OX_TR_NAME));
        if (!key) return answer_fault(FAULT_INVALID_ARGUMENTS, "ParameterList holds what has no Name");
        argument_take({model, method, place.node, given, data}, key, json_object_get(entry, OX_TR_VALUE));
    }
    mandatory_check(method->input.get(), "", given, data);
    if (data) return answer_refused(std::move(data), std::string(name) + " was not called");
    defaults_fill(method->input.get(), given);
    path = node_path(place.node) + method->name;
    inputs = given.release();
    return {};
}

}  // namespace obxd
