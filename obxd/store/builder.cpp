#include "builder.hpp"

#include <string.h>

#include <algorithm>
#include <map>

#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"
#include "store/legal.hpp"
#include "store/references.hpp"
#include "store/scopes.hpp"
#include "store/ties.hpp"
#include "store/value_check.hpp"
#include "store/value_form.hpp"
#include "store/value_text.hpp"
#include "store/walk.hpp"
#include "store/wire_attrs.hpp"
#include "store/words.hpp"

namespace obxd {
namespace {

bool is_name(const std::string& name) {
    uint32_t number;
    return !name.empty() && !strpbrk(name.c_str(), ".*#[]{}\" ") && !ox_tr_instance_number(name, &number) &&
           name != OX_TR_MAX_INSTANCE;
}

/// Whether the model has an object, a table or a parameter of that path.
bool is_there(const Model& model, const std::string& path) {
    Place place = place_of_schema(const_cast<Schema*>(&model.root));
    for (std::string_view name : ox_tr_components(path))
        if (!place_step(place, name)) return false;
    return true;
}

/// Checks every default against its own bounds and makes one up for what can be set, gathers the references
/// that a delete has to look at, and ties what is named elsewhere in the model.
struct EndVisitor {
    Model& model;
    std::string& error;
    ValueMaker maker{model};
    /// Attributes with a default that was made up, by those without and that default.
    std::map<std::pair<JsonRef, std::string>, JsonRef> completed{};
    /// Limits that sizes_widen() has changed, and the attribute that is none any more.
    std::map<const Limits*, const char*> widened{};

    bool enter(const Place& place, const std::string&) const {
        if (place.is_table()) counter_miss(place.schema);
        return error.empty();
    }
    void leave(const Place&) const {}
    void leaf(const Place& place, const std::string&) {
        Schema* parameter = place.schema;
        if (parameter->kind != Schema::PARAMETER || place.pseudo != Pseudo::NONE || !error.empty()) return;
        targets_resolve(parameter);
        if (!parameter->argument) reference_note(model, parameter);
        std::string why;
        bool made = parameter->default_kind == DefaultKind::MADE;
        if (!parameter->has_default && !made && parameter->writable) default_make(parameter);
        if (parameter->has_default && value_check(model, parameter, nullptr, parameter->initial, why) != 0)
            error = schema_path(parameter) + ": the default " + why;
        else
            parameter->initial.reset(value_normal(parameter, parameter->initial));
    }

    /// Published documents give some texts a pattern and a length that no word has together: then lengths on
    /// that side of it where the words are will do as well.
    void sizes_widen(const Schema* parameter) {
        const Limits& limits = *parameter->limits;
        std::vector<Expression> expressions;
        for (const Pattern& pattern : limits.patterns) expressions.push_back(pattern.program);
        if (expressions.empty() || limits.sizes.empty() || widened.count(&limits)) return;
        Words words(std::move(expressions), {});
        if (words.count() == 0) return;
        model.notes.push_back(schema_path(parameter) + ": nothing that matches its pattern is " +
                              sizes_text(limits.sizes) + " characters long; its pattern holds");
        auto length = static_cast<json_int_t>(text_length(limits.type, words.word(0)));
        const Size& last = limits.sizes.back();
        bool longer = last.max >= 0 && length > last.max;
        const_cast<Limits&>(limits).sizes.push_back(longer ? Size{last.max + 1, -1} : Size{0, last.min - 1});
        widened[&limits] = longer ? "maxLength" : "minLength";
    }

    /// Clients learn a value's JSON type from the default.
    void default_make(Schema* parameter) {
        JsonRef legal(maker.plain(parameter));
        if (!legal) sizes_widen(parameter);
        // All that share them are alike.
        auto wide = widened.find(parameter->limits.get());
        if (wide != widened.end()) {
            legal.reset(ValueMaker(model).plain(parameter));
            parameter->attrs.reset(json_copy(parameter->attrs));
            json_object_del(parameter->attrs, wide->second);
        }
        if (legal) parameter->initial = std::move(legal);
        parameter->default_kind = DefaultKind::MADE;
        CharsRef text(json_dumps(parameter->initial, JSON_ENCODE_ANY));
        std::pair key(JsonRef(json_incref(parameter->attrs)), std::string(text ? text.get() : ""));
        JsonRef& attrs = completed[std::move(key)];
        if (!attrs) {
            attrs.reset(json_copy(parameter->attrs));
            json_object_set(attrs, "default", parameter->initial);
        }
        parameter->attrs.reset(json_incref(attrs));
    }

    /// A table may name a counter that is no parameter beside it, or another table's.
    void counter_miss(const Schema* table) const {
        if (table->counter || !table->named || table->named->first.empty() || table->argument) return;
        const std::string& name = table->named->first;
        const Schema* other = schema_child(table->parent, name);
        bool taken = other && other->kind == Schema::PARAMETER;
        model.notes.push_back(schema_path(table) + ": nothing counts its instances: " +
                              (taken ? name + " counts others" : "there is no " + name));
    }

    void targets_resolve(Schema* parameter) const {
        const Limits& limits = *parameter->limits;
        std::string all;
        bool relative = false;
        for (const std::string& target : limits.targets) {
            std::string path = scope_path(parameter->parent, nullptr, target);
            relative |= path != target;
            if (!is_there(model, path)) miss(path, parameter);
            all += (all.empty() ? "" : ",") + path + ".";
        }
        if (relative) foreign_key_set(parameter, all);
        if (limits.from.empty()) return;
        std::string from = scope_path(parameter->parent, nullptr, limits.from);
        if (!is_there(model, from)) miss(from, parameter);
    }

    /// What parameters name and the model does not have is told once.
    void miss(const std::string& path, const Schema* parameter) const {
        std::string text = path + " is not in the model; " + schema_path(parameter) + " refers to it";
        auto told = [&path](const std::string& note) { return note.starts_with(path + " is not"); };
        if (std::none_of(model.notes.begin(), model.notes.end(), told)) model.notes.push_back(text);
    }
};

/// What any node says of itself.
void facts_take(Schema* schema, const Facts& facts) {
    build_ranks(schema, facts);
    schema->writable = facts.writable;
    schema->status = std::max(schema->status, facts.status);
    schema->description = facts.description;
    if (facts.since) schema->since = facts.since;
}

}  // namespace

Schema* build_child(Schema* parent, std::string_view name, std::string& why) {
    auto child = std::make_unique<Schema>();
    child->name = name;
    if (!is_name(child->name)) {
        why = "bad name \"" + child->name + "\"";
        return nullptr;
    }
    if (!parent->by_name) parent->by_name = std::make_unique<std::unordered_map<std::string_view, Schema*>>();
    auto [place, fresh] = parent->by_name->emplace(child->name, child.get());
    if (!fresh) {
        why = "\"" + child->name + "\" stands twice";
        return nullptr;
    }
    child->parent = parent;
    child->argument = parent->argument;
    child->read_rank = parent->read_rank;
    child->write_rank = parent->write_rank;
    child->status = parent->status;
    child->since = parent->since;
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

void build_output_end(Schema* method, std::unique_ptr<Schema> output) {
    if (!output->children.empty()) method->output = std::move(output);
}

Schema* build_event(Schema* object, std::string_view name, const Facts& facts, std::string& why) {
    for (auto& other : object->events) {
        if (other->name != name) continue;
        why = "event \"" + other->name + "\" stands twice";
        return nullptr;
    }
    auto event = std::make_unique<Schema>();
    event->kind = Schema::EVENT;
    event->name = name;
    event->argument = true;
    event->parent = object;
    event->read_rank = object->read_rank;
    event->write_rank = object->write_rank;
    facts_take(event.get(), facts);
    object->events.push_back(std::move(event));
    return object->events.back().get();
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
    facts_take(schema, facts);
    schema->multi = facts.multi;
    schema->ordered = facts.ordered;
    schema->min_count = facts.min_count;
    schema->max_count = facts.max_count;
    if (!facts.counter.empty() || !facts.enable.empty())
        schema->named = std::make_unique<std::pair<std::string, std::string>>(facts.counter, facts.enable);
    schema->attrs = node_attrs(schema, "object", facts);
    schema->item_attrs.reset(json_copy(schema->attrs));
    table_attrs_add(schema->attrs, facts);
    if (!schema->parent || schema->parent->kind == Schema::METHOD) return true;
    schema->slot = static_cast<uint32_t>(schema->parent->objects.size());
    schema->parent->objects.push_back(schema);
    return true;
}

void build_method(Schema* schema, const Facts& facts) {
    facts_take(schema, facts);
    schema->kind = Schema::METHOD;
    schema->attrs = node_attrs(schema, "method", facts);
}

bool build_shape(const Schema* schema, const Facts& facts, const char* type, Limits limits, Shape& shape,
                 std::string& why) {
    if (!limits_finish(limits, why)) return false;
    shape.limits = std::make_shared<Limits>(std::move(limits));
    JsonRef attrs = node_attrs(schema, type, facts);
    limits_attrs_add(attrs, *shape.limits, facts);
    shape.attrs = attrs_in_order(attrs);
    return true;
}

bool build_parameter(Schema* schema, const Facts& facts, const char* type, Limits limits, Shapes& shapes,
                     std::string& why) {
    Status before = schema->status;
    schema->status = std::max(before, facts.status);
    build_ranks(schema, facts);
    JsonRef rest(json_object());
    if (facts.initial) json_object_set(rest, "default", facts.initial);
    if (facts.attrs) json_object_set(rest, "attrs", facts.attrs);
    CharsRef dump(json_dumps(rest, JSON_COMPACT));
    std::string key = std::string(type) + ' ' + std::to_string(schema->read_rank) + ' ' +
                      std::to_string(schema->write_rank) + ' ' +
                      std::to_string(static_cast<int>(schema->status)) + (facts.writable ? 'w' : 'r') +
                      (facts.runtime ? 'v' : 's') + (dump ? dump.get() : "") + limits_key(limits);
    Shape& shape = shapes[key];
    if (!shape.limits && !build_shape(schema, facts, type, std::move(limits), shape, why)) return false;
    build_parameter(schema, facts, shape);
    return true;
}

void build_parameter(Schema* schema, const Facts& facts, const Shape& shape) {
    facts_take(schema, facts);
    schema->kind = Schema::PARAMETER;
    schema->write_once = facts.write_once;
    schema->hidden = facts.hidden;
    schema->mandatory = facts.mandatory;
    schema->runtime = facts.runtime;
    schema->units = facts.units;
    schema->slot = static_cast<uint32_t>(schema->parent->parameters.size());
    schema->parent->parameters.push_back(schema);
    schema->attrs.reset(json_incref(shape.attrs.get()));
    schema->limits = shape.limits;
    schema->has_default = facts.initial && facts.default_kind != DefaultKind::MADE;
    schema->default_kind = facts.default_kind;
    schema->initial.reset(facts.initial ? json_incref(facts.initial)
                                        : value_empty(limits_type(*schema->limits)));
}

bool build_key(Schema* object, const std::vector<std::string_view>& names, bool functional,
               std::string& why) {
    Key key{{}, functional};
    for (std::string_view name : names) {
        Schema* member = schema_child(object, name);
        if (!member || member->kind != Schema::PARAMETER) {
            why = "\"keys\" names no parameter: " + std::string(name);
            return false;
        }
        key.members.push_back(member);
    }
    if (key.members.empty()) {
        why = "\"keys\" is an array of arrays of parameter names";
        return false;
    }
    Schema* first = key.members[0];
    if (key.members.size() == 1 && !json_is_true(json_object_get(first->attrs, "unique"))) {
        first->attrs.reset(json_copy(first->attrs));
        json_object_set_new(first->attrs, "unique", json_true());
    }
    object->keys.push_back(std::move(key));
    return true;
}

bool build_object_end(Schema* object, std::string& why) {
    ties_make(object);
    if (!object->multi) return true;
    if (object->named && !object->named->second.empty()) {
        object->enable = schema_child(object, object->named->second);
        if (!object->enable || object->enable->kind != Schema::PARAMETER) {
            why = "\"enable\" names no parameter: " + object->named->second;
            return false;
        }
    }
    ties_look_up(object);
    return true;
}

bool build_end(Model& model, std::string& error) {
    error.clear();
    EndVisitor visitor{model, error};
    walk_all<Walk::SCHEMA>(visitor, place_of_schema(&model.root));
    if (!error.empty()) return false;
    model.max_attrs = pseudo_attrs(false);
    model.order_attrs = pseudo_attrs(false);
    model.index_attrs = pseudo_attrs(true);
    model.texts.settle();
    model.top = node_new(&model.root, nullptr, false);
    return true;
}

}  // namespace obxd
