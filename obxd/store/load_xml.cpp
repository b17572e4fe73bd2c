#include "load_xml.hpp"

#include <stdlib.h>

#include "ox_tr_names.hpp"
#include "store/builder.hpp"
#include "store/grafts.hpp"
#include "store/json_members.hpp"
#include "store/xml_parse.hpp"
#include "store/xml_text.hpp"
#include "store/xml_tree.hpp"

namespace obxd {
namespace {

constexpr int MAX_DEPTH = 64;

struct Builder {
    Model& model;
    std::string& error;
    const std::string& file;
    std::string version;  ///< of the root's model: "2.17"
    Shapes shapes;
};

/// An object that the documents describe, or its arguments.
struct Subject {
    const XmlSource& source;
    const XmlObject& object;
};

bool fail(Builder& builder, const XmlSource& source, unsigned long line, const std::string& what) {
    builder.error = xml_where(source, line) + what;
    return false;
}

/// The node, or the first one below it, that a document describes; null for what stands in none.
const XmlNode* described_first(const XmlNode& node) {
    if (node.object) return &node;
    for (const auto& child : node.children)
        if (const XmlNode* found = described_first(*child)) return found;
    return nullptr;
}

/// Of a node that may be described by what stands below it alone, or be one that obxd adds.
bool fail(Builder& builder, const XmlNode& node, const std::string& what) {
    const XmlNode* found = described_first(node);
    if (found) return fail(builder, *found->source, found->object->line, what);
    builder.error = builder.file + ": " + what;
    return false;
}

bool left_out(const Builder& builder, const std::string& status) {
    return xml_status(status) == Status::DELETED && !builder.model.show_all;
}

const char* described(Builder& builder, const XmlSubject& subject, const std::string& description) {
    return builder.model.texts.keep(xml_text_plain(subject, description));
}

bool is_writable(std::string_view access) {
    return access == "readWrite" || access == "writeOnceReadOnly";
}

/// Whether what stands below an object is given to a command.
bool is_input(const Schema* object) {
    while (object && object->argument && object->name != OX_TR_INPUT) object = object->parent;
    return object && object->argument;
}

uint32_t count_of(const std::string& text) {
    if (text == "unbounded") return UINT32_MAX;
    return static_cast<uint32_t>(strtoul(text.c_str(), nullptr, 10));
}

/// A default that does not say what it is, or says no word for it, is that of the object.
DefaultKind default_kind_of(const std::string& word) {
    DefaultKind kind;
    return default_kind_parse(word.c_str(), kind) && kind != DefaultKind::MADE ? kind : DefaultKind::OBJECT;
}

/// The facts of a parameter, but for its default.
Facts parameter_facts(Builder& builder, const XmlSubject& subject, const Schema* parent,
                      const XmlParameter& given) {
    Facts facts;
    facts.writable = is_input(parent) || is_writable(given.access);
    facts.write_once = given.access == "writeOnceReadOnly";
    facts.mandatory = given.mandatory;
    facts.status = xml_status(given.status);
    facts.hidden = given.facets.hidden || given.facets.secured || given.facets.command;
    facts.runtime = given.facets.command;
    facts.since = builder.model.texts.keep(given.version);
    facts.description = described(builder, subject, given.description);
    if (subject.merged->units) facts.units = builder.model.texts.keep(subject.merged->units->units);
    return facts;
}

bool parameter_build(Builder& builder, const Subject& owner, Schema* parent, const XmlParameter& given) {
    if (left_out(builder, given.status)) return true;
    std::string why;
    XmlMerged merged;
    Limits limits;
    XmlSubject subject{*owner.source.document, owner.source.types, owner.object.name, given.name, &merged};
    auto describe = [&](const std::string& text) { return described(builder, subject, text); };
    Schema* schema = build_child(parent, given.name, why);
    if (!schema || !xml_merge(owner.source.types, given.facets, merged, why) ||
        !xml_limits(merged, builder.model.show_all, describe, limits, why))
        return fail(builder, owner.source, given.line, given.name + ": " + why);
    Facts facts = parameter_facts(builder, subject, parent, given);
    JsonRef initial;
    if (given.facets.kinds & XML_DEFAULT) {
        initial.reset(xml_initial(limits, given.facets.initial));
        if (initial) limits.taken.reset(json_incref(initial));
        facts.default_kind = default_kind_of(given.facets.initial_type);
    }
    facts.initial = initial;
    std::string type = xml_type_text(merged, given.facets);
    return build_parameter(schema, facts, type.c_str(), std::move(limits), builder.shapes, why) ||
           fail(builder, owner.source, given.line, given.name + ": " + why);
}

/// The facts that objects, commands and events have alike.
template <typename Given>
Facts facts_of(Builder& builder, const Subject& owner, const Given& given, std::string_view name) {
    Facts facts;
    facts.status = xml_status(given.status);
    facts.since = builder.model.texts.keep(given.version);
    XmlSubject subject{*owner.source.document, owner.source.types, owner.object.name, name};
    facts.description = described(builder, subject, given.description);
    return facts;
}

/// Whether the object's instances stand in an order that clients change: it has "Order" of type Order.
bool is_ordered(const XmlObject& object) {
    for (const XmlParameter& parameter : object.parameters)
        if (parameter.name == "Order" && parameter.facets.base == "Order") return true;
    return false;
}

Facts object_facts(Builder& builder, const Subject& subject, bool table) {
    const XmlObject& object = subject.object;
    Facts facts = facts_of(builder, subject, object, "");
    facts.multi = table;
    if (!table) return facts;
    facts.writable = is_writable(object.access);
    facts.ordered = is_ordered(object);
    facts.min_count = count_of(object.min_entries);
    facts.max_count = count_of(object.max_entries);
    facts.counter = object.counter;
    facts.enable = object.enable;
    return facts;
}

/// Keys name parameters that are there; those of deleted ones go with them.
bool keys_build(Builder& builder, const Subject& owner, Schema* schema) {
    for (const XmlKey& given : owner.object.keys) {
        std::vector<std::string_view> names(given.parameters.begin(), given.parameters.end());
        std::string why;
        if (build_key(schema, names, given.functional, why)) continue;
        builder.model.notes.push_back(xml_where(owner.source, owner.object.line) + why);
    }
    return true;
}

bool arguments_build(Builder& builder, const Subject& owner, Schema* schema, int depth);

/// The objects of arguments hang in their parents' by name; "Rule.{i}.Match.{i}." may stand beside
/// "Rule.{i}.".
bool argument_objects_build(Builder& builder, const Subject& owner, Schema* schema, int depth) {
    for (const XmlObject& given : owner.object.objects) {
        if (left_out(builder, given.status)) continue;
        std::string_view name = given.name;
        Schema* parent = schema;
        std::string why;
        while (name.ends_with('.')) name.remove_suffix(1);
        bool table = name.ends_with(".{i}");
        if (table) name.remove_suffix(4);
        for (size_t dot; parent && (dot = name.find('.')) != std::string_view::npos;) {
            std::string_view part = name.substr(0, dot);
            if (part != "{i}") parent = schema_child(parent, part);
            name.remove_prefix(dot + 1);
        }
        Subject subject{owner.source, given};
        Schema* child = parent ? build_child(parent, name, why) : nullptr;
        if (!parent) why = "there is no object around it";
        if (!child || !build_object(child, object_facts(builder, subject, table), why))
            return fail(builder, owner.source, given.line, given.name + ": " + why);
        if (!arguments_build(builder, subject, child, depth + 1)) return false;
    }
    return true;
}

/// What stands in arguments, and their end.
bool arguments_build(Builder& builder, const Subject& owner, Schema* schema, int depth) {
    if (depth > MAX_DEPTH) return fail(builder, owner.source, owner.object.line, "nested too deeply");
    for (const XmlParameter& given : owner.object.parameters)
        if (!parameter_build(builder, owner, schema, given)) return false;
    std::string why;
    return argument_objects_build(builder, owner, schema, depth) && keys_build(builder, owner, schema) &&
           (build_object_end(schema, why) || fail(builder, owner.source, owner.object.line, why));
}

bool command_build(Builder& builder, const Subject& owner, Schema* parent, const XmlCommand& given) {
    if (left_out(builder, given.status)) return true;
    std::string why;
    Schema* schema = build_child(parent, given.name, why);
    if (!schema) return fail(builder, owner.source, given.line, why);
    Facts facts = facts_of(builder, owner, given, given.name);
    facts.writable = true;
    facts.async = given.async;
    build_method(schema, facts);
    for (const char* part : {OX_TR_INPUT, OX_TR_OUTPUT}) {
        bool input = part == OX_TR_INPUT;
        const XmlObject* arguments = input ? given.input.get() : given.output.get();
        if (!arguments) continue;
        auto object = build_arguments(schema, part);
        if (!build_object(object.get(), {}, why)) return fail(builder, owner.source, given.line, why);
        if (!arguments_build(builder, {owner.source, *arguments}, object.get(), 0)) return false;
        input ? build_input_end(schema, std::move(object)) : build_output_end(schema, std::move(object));
    }
    return true;
}

bool event_build(Builder& builder, const Subject& owner, Schema* parent, const XmlCommand& given) {
    if (left_out(builder, given.status)) return true;
    std::string why;
    Schema* schema = build_event(parent, given.name, facts_of(builder, owner, given, given.name), why);
    if (!schema) return fail(builder, owner.source, given.line, why);
    return arguments_build(builder, {owner.source, *given.output}, schema, 0);
}

/// Everything right below an object that one part of the documents says.
bool part_build(Builder& builder, const Subject& part, Schema* schema) {
    for (const XmlParameter& given : part.object.parameters)
        if (!parameter_build(builder, part, schema, given)) return false;
    for (const XmlCommand& given : part.object.commands)
        if (!command_build(builder, part, schema, given)) return false;
    for (const XmlCommand& given : part.object.events)
        if (!event_build(builder, part, schema, given)) return false;
    return true;
}

bool node_build(Builder& builder, const XmlNode& node, Schema* schema, const std::string& path, int depth);

bool children_build(Builder& builder, const XmlNode& node, Schema* schema, const std::string& path,
                    int depth) {
    for (const auto& child : node.children) {
        if (child->object && left_out(builder, child->object->status)) continue;
        std::string why;
        Schema* below = build_child(schema, child->name, why);
        if (!below) return fail(builder, described_first(*child) ? *child : node, why);
        std::string child_path = path.empty() ? child->name : path + "." + child->name;
        if (!node_build(builder, *child, below, child_path, depth + 1)) return false;
    }
    return true;
}

bool node_build(Builder& builder, const XmlNode& node, Schema* schema, const std::string& path, int depth) {
    std::string why;
    Facts facts;
    facts.multi = node.table;
    if (depth > MAX_DEPTH) why = "nested too deeply";
    if (node.object) facts = object_facts(builder, {*node.source, *node.object}, node.table);
    bool fine = why.empty() && build_object(schema, facts, why);
    if (fine && node.object && !part_build(builder, {*node.source, *node.object}, schema)) return false;
    for (const XmlPart& part : node.parts)
        if (fine && !part_build(builder, {*part.source, *part.object}, schema)) return false;
    if (fine && !children_build(builder, node, schema, path, depth)) return false;
    if (fine && node.object) keys_build(builder, {*node.source, *node.object}, schema);
    if (fine && graft_children(builder.model, schema, path, builder.version, builder.shapes, why) &&
        build_object_end(schema, why))
        return true;
    return fail(builder, node, (node.object ? node.object->name : path) + ": " + why);
}

}  // namespace

bool schema_load_xml(Model& model, const std::string& file, const std::vector<std::string>& services,
                     std::string& error) {
    std::vector<XmlDocument> documents(1 + services.size());
    XmlTree tree;
    for (size_t i = 0; i < documents.size(); i++) {
        if (!xml_document_read(i == 0 ? file : services[i - 1], documents[i], error) ||
            !xml_tree_add(tree, documents[i], error))
            return false;
    }
    for (std::string_view object : graft_objects()) xml_tree_node(tree, object);
    const std::string& name = documents[0].model;
    Builder builder{model, error, file, name.substr(name.find(':') + 1), {}};
    return node_build(builder, tree.top, &model.root, "", 0);
}

}  // namespace obxd
