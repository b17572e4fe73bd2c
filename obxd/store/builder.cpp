#include "builder.hpp"

#include <string.h>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/references.hpp"
#include "store/ties.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"
#include "store/walk.hpp"

namespace obxd {
namespace {

constexpr char READ_ONLY[] = "readOnly", READ_WRITE[] = "readWrite";

bool is_name(const std::string& name) {
    uint32_t number;
    return !name.empty() && !strpbrk(name.c_str(), ".*#[]{}\" ") && !ox_tr_instance_number(name, &number) &&
           name != OX_TR_MAX_INSTANCE;
}

/// The attributes that clients see.
JsonRef attrs_make(const Schema* schema, const char* type, const Facts& facts) {
    JsonRef attrs(json_object());
    json_object_set_new(attrs, "type", json_string(type));
    json_object_set_new(attrs, "access", json_string(facts.writable ? READ_WRITE : READ_ONLY));
    std::string perms = std::string(rank_text(schema->read_rank)) + "/" +
                        (facts.writable ? rank_text(schema->write_rank) : "-");
    json_object_set_new(attrs, "perms", json_string(perms.c_str()));
    if (!facts.writable) json_object_set_new(attrs, "const", json_true());
    if (facts.attrs) json_object_update(attrs, facts.attrs);
    return attrs;
}

json_t* pseudo_attrs(const char* access, const char* perms) {
    json_t* attrs = json_pack("{s:s, s:s, s:s}", "type", "unsignedInt", "access", access, "perms", perms);
    if (strcmp(access, READ_ONLY) == 0)
        json_object_set_new(attrs, "const", json_true());
    else
        json_object_set_new(attrs, "default", json_integer(1));
    json_object_set_new(attrs, "runtime", json_true());
    return attrs;
}

/// Gathers the references that a delete has to look at, and checks every default against its own bounds.
struct EndVisitor {
    Model& model;
    std::string& error;

    bool enter(const Place&, const std::string&) const { return error.empty(); }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string&) const {
        Schema* parameter = place.schema;
        if (parameter->kind != Schema::PARAMETER || !error.empty()) return;
        if (!parameter->argument) reference_note(model, parameter);
        std::string why;
        if (parameter->has_default && value_check(model, parameter, nullptr, parameter->initial, why) != 0)
            error = schema_path(parameter) + ": the default " + why;
        else
            parameter->initial.reset(value_normal(parameter, parameter->initial));
    }
};

}  // namespace

Schema* build_child(Schema* parent, std::string_view name, std::string& why) {
    auto child = std::make_unique<Schema>();
    child->name = name;
    if (!is_name(child->name)) {
        why = "bad name \"" + child->name + "\"";
        return nullptr;
    }
    auto [place, fresh] = parent->by_name.emplace(child->name, child.get());
    if (!fresh) {
        why = "\"" + child->name + "\" stands twice";
        return nullptr;
    }
    child->parent = parent;
    child->argument = parent->argument;
    child->read_rank = parent->read_rank;
    child->write_rank = parent->write_rank;
    parent->children.push_back(std::move(child));
    return parent->children.back().get();
}

std::unique_ptr<Schema> build_arguments(Schema* method, const char* name) {
    auto arguments = std::make_unique<Schema>();
    arguments->name = name;
    arguments->argument = true;
    arguments->parent = method;
    arguments->read_rank = method->read_rank;
    arguments->write_rank = method->write_rank;
    return arguments;
}

void build_input_end(Schema* method, std::unique_ptr<Schema> input) {
    if (!input->children.empty()) method->input = std::move(input);
}

void build_ranks(Schema* schema, const Facts& facts) {
    if (facts.read_rank >= 0) schema->read_rank = static_cast<uint8_t>(facts.read_rank);
    if (facts.write_rank >= 0) schema->write_rank = static_cast<uint8_t>(facts.write_rank);
}

bool build_object(Schema* schema, const Facts& facts, std::string& why) {
    if (facts.ordered && !facts.multi) {
        why = "\"ordered\" without \"multi\"";
        return false;
    }
    build_ranks(schema, facts);
    schema->multi = facts.multi;
    schema->ordered = facts.ordered;
    schema->writable = facts.writable;
    schema->max_count = facts.max_count;
    schema->attrs = attrs_make(schema, "object", facts);
    schema->item_attrs.reset(json_copy(schema->attrs));
    json_object_del(schema->item_attrs, "maxCount");
    if (schema->multi) json_object_set_new(schema->attrs, "multi", json_true());
    if (!schema->parent || schema->parent->kind == Schema::METHOD) return true;
    schema->slot = static_cast<uint32_t>(schema->parent->objects.size());
    schema->parent->objects.push_back(schema);
    return true;
}

void build_method(Schema* schema, const Facts& facts) {
    build_ranks(schema, facts);
    schema->kind = Schema::METHOD;
    schema->writable = facts.writable;
    schema->attrs = attrs_make(schema, "method", facts);
}

Shape build_shape(const Schema* schema, const Facts& facts, const char* type,
                  std::shared_ptr<const Limits> limits) {
    return {attrs_make(schema, type, facts), std::move(limits)};
}

bool build_parameter(Schema* schema, const Facts& facts, const Shape& shape, std::string& why) {
    build_ranks(schema, facts);
    schema->kind = Schema::PARAMETER;
    schema->writable = facts.writable;
    schema->hidden = facts.hidden;
    schema->mandatory = facts.mandatory;
    schema->runtime = facts.runtime;
    schema->slot = static_cast<uint32_t>(schema->parent->parameters.size());
    schema->parent->parameters.push_back(schema);
    schema->attrs.reset(json_incref(shape.attrs.get()));
    schema->limits = shape.limits;
    json_t* initial = json_object_get(schema->attrs, "default");
    schema->has_default = initial != nullptr;
    if (!initial && schema->writable) {
        why = "a parameter that can be set needs a default";
        return false;
    }
    schema->initial.reset(initial ? json_incref(initial) : value_empty(limits_type(*schema->limits)));
    return true;
}

bool build_key(Schema* object, const std::vector<std::string_view>& names, std::string& why) {
    std::vector<Schema*> members;
    for (std::string_view name : names) {
        Schema* member = schema_child(object, name);
        if (!member || member->kind != Schema::PARAMETER) {
            why = "\"keys\" names no parameter: " + std::string(name);
            return false;
        }
        members.push_back(member);
    }
    if (members.empty()) {
        why = "\"keys\" is an array of arrays of parameter names";
        return false;
    }
    if (members.size() == 1 && !json_is_true(json_object_get(members[0]->attrs, "unique"))) {
        members[0]->attrs.reset(json_copy(members[0]->attrs));
        json_object_set_new(members[0]->attrs, "unique", json_true());
    }
    object->keys.push_back(std::move(members));
    return true;
}

void build_object_end(Schema* object) {
    ties_make(object);
    if (object->multi) ties_look_up(object);
}

bool build_end(Model& model, std::string& error) {
    error.clear();
    EndVisitor visitor{model, error};
    walk_all<Walk::SCHEMA>(visitor, place_of_schema(&model.root));
    if (!error.empty()) return false;
    model.max_attrs.reset(pseudo_attrs(READ_ONLY, "user/-"));
    model.order_attrs.reset(pseudo_attrs(READ_ONLY, "user/-"));
    model.index_attrs.reset(pseudo_attrs(READ_WRITE, "user/admin"));
    model.top = node_new(&model.root, nullptr, false);
    return true;
}

}  // namespace obxd
