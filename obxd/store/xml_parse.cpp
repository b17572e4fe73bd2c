#include "xml_parse.hpp"

#include <algorithm>
#include <iterator>

#include "store/xml_elements.hpp"
#include "store/xml_reader.hpp"

namespace obxd {
namespace {

constexpr std::string_view NAMESPACE = "urn:broadband-forum-org:cwmp:datamodel-1-";
constexpr const char* PRIMITIVES[] = {"string",       "boolean", "int",      "unsignedInt", "long",
                                      "unsignedLong", "decimal", "dateTime", "base64",      "hexBinary"};

/// The elements that are understood, as far as they differ in what may stand in them.
enum Tag : uint8_t {
    NOWHERE,
    DOCUMENT,
    TYPE,
    MODEL,
    OBJECT,
    COMMAND,
    EVENT,
    ARGUMENTS,
    PARAMETER,
    SYNTAX,
    VALUES,
    LIST,
    CHOICE,
    KEY,
    TEXT,
    LEAF,
};

struct Parser {
    XmlDocument& document;
    XmlHandler handler;
    std::vector<Tag> open;
    int passed_over = 0;  ///< how many elements deep we are in what is not known
    std::string space;    ///< the document's namespace
    bool has_model = false;
    std::vector<XmlObject*> objects;  ///< the one that is read, and those around it
    XmlCommand* command = nullptr;
    XmlParameter* parameter = nullptr;
    XmlFacets* facets = nullptr;
    std::string* text = nullptr;  ///< what takes the text that is read
};

using Attributes = XmlAttributes;
using Start = bool (*)(Parser&, const Attributes&, std::string& why);

bool fail(std::string& why, const std::string& text) {
    why = text;
    return false;
}

bool not_flattened(std::string& why, const std::string& what) {
    return fail(why, "is not flattened: " + what + "; the \"full\" document is needed");
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

/// The name that an element must have.
bool name_take(const Attributes& attributes, const char* element, std::string& name, std::string& why) {
    name = attributes.token("name");
    return !name.empty() || fail(why, std::string(element) + " without a name");
}

bool on_import(Parser&, const Attributes& attributes, std::string& why) {
    return not_flattened(why, "it imports " + quoted(attributes.token("file")));
}

bool on_component(Parser&, const Attributes& attributes, std::string& why) {
    std::string_view name = attributes.token(attributes.find("ref") ? "ref" : "name");
    return not_flattened(why, "it uses component " + quoted(name));
}

bool on_type(Parser& parser, const Attributes& attributes, std::string& why) {
    XmlType& type = parser.document.types.emplace_back();
    type.line = parser.handler.line;
    type.facets.base = attributes.token("base");
    parser.facets = &type.facets;
    parser.text = nullptr;
    return name_take(attributes, "dataType", type.name, why);
}

bool on_template(Parser& parser, const Attributes& attributes, std::string&) {
    parser.document.templates.emplace_back(attributes.token("id"), "");
    parser.text = &parser.document.templates.back().second;
    return true;
}

bool on_model(Parser& parser, const Attributes& attributes, std::string& why) {
    if (parser.has_model) return fail(why, "there is a second model");
    if (attributes.find("base"))
        return not_flattened(why, "its model is based on " + quoted(attributes.token("base")));
    parser.has_model = true;
    parser.objects = {&parser.document.top};
    return name_take(attributes, "model", parser.document.model, why);
}

bool on_object(Parser& parser, const Attributes& attributes, std::string& why) {
    if (attributes.find("base"))
        return not_flattened(why, "object " + quoted(attributes.token("base")) + " is elsewhere");
    bool in_model = parser.open.back() == MODEL;
    auto& list = in_model ? parser.document.objects : parser.objects.back()->objects;
    XmlObject& object = list.emplace_back();
    object.line = parser.handler.line;
    object.access = attributes.token("access");
    object.status = attributes.token("status");
    object.version = attributes.token("version");
    if (attributes.find("minEntries")) object.min_entries = attributes.token("minEntries");
    if (attributes.find("maxEntries")) object.max_entries = attributes.token("maxEntries");
    object.counter = attributes.token("numEntriesParameter");
    object.enable = attributes.token("enableParameter");
    parser.objects.push_back(&object);
    return name_take(attributes, "object", object.name, why);
}

XmlCommand& command_add(Parser& parser, std::vector<XmlCommand>& list, const Attributes& attributes) {
    XmlCommand& command = list.emplace_back();
    command.line = parser.handler.line;
    command.status = attributes.token("status");
    command.version = attributes.token("version");
    command.async = xml_is_true(attributes.token("async"));
    parser.command = &command;
    return command;
}

bool on_command(Parser& parser, const Attributes& attributes, std::string& why) {
    XmlCommand& command = command_add(parser, parser.objects.back()->commands, attributes);
    return name_take(attributes, "command", command.name, why);
}

bool on_arguments(Parser& parser, std::unique_ptr<XmlObject>& arguments) {
    arguments = std::make_unique<XmlObject>();
    arguments->line = parser.handler.line;
    parser.objects.push_back(arguments.get());
    return true;
}

bool on_input(Parser& parser, const Attributes&, std::string&) {
    return on_arguments(parser, parser.command->input);
}

bool on_output(Parser& parser, const Attributes&, std::string&) {
    return on_arguments(parser, parser.command->output);
}

bool on_event(Parser& parser, const Attributes& attributes, std::string& why) {
    XmlCommand& event = command_add(parser, parser.objects.back()->events, attributes);
    on_arguments(parser, event.output);
    return name_take(attributes, "event", event.name, why);
}

bool on_parameter(Parser& parser, const Attributes& attributes, std::string& why) {
    if (attributes.find("base"))
        return not_flattened(why, "parameter " + quoted(attributes.token("base")) + " is elsewhere");
    XmlParameter& parameter = parser.objects.back()->parameters.emplace_back();
    parameter.line = parser.handler.line;
    parameter.access = attributes.token("access");
    parameter.status = attributes.token("status");
    parameter.version = attributes.token("version");
    parameter.mandatory = xml_is_true(attributes.token("mandatory"));
    parser.parameter = &parameter;
    return name_take(attributes, "parameter", parameter.name, why);
}

bool on_key(Parser& parser, const Attributes& attributes, std::string&) {
    std::string_view functional = attributes.token("functional");
    parser.objects.back()->keys.push_back({functional.empty() || xml_is_true(functional), {}});
    return true;
}

bool on_key_parameter(Parser& parser, const Attributes& attributes, std::string&) {
    parser.objects.back()->keys.back().parameters.emplace_back(attributes.token("ref"));
    return true;
}

bool on_syntax(Parser& parser, const Attributes& attributes, std::string&) {
    XmlFacets& facets = parser.parameter->facets;
    facets.hidden = xml_is_true(attributes.token("hidden"));
    facets.secured = xml_is_true(attributes.token("secured"));
    facets.command = xml_is_true(attributes.token("command"));
    parser.facets = &facets;
    return true;
}

template <void (*READ)(const XmlAttributes&, XmlFacets&)>
bool on_facet(Parser& parser, const Attributes& attributes, std::string&) {
    READ(attributes, *parser.facets);
    return true;
}

/// The description of what is open.
bool on_description(Parser& parser, const Attributes&, std::string&) {
    switch (parser.open.back()) {
        case TYPE:
            parser.text = &parser.document.types.back().description;
            break;
        case OBJECT:
            parser.text = &parser.objects.back()->description;
            break;
        case COMMAND:
        case EVENT:
            parser.text = &parser.command->description;
            break;
        case PARAMETER:
            parser.text = &parser.parameter->description;
            break;
        case CHOICE:
            parser.text = &parser.facets->choices.back().description;
            break;
        default:
            parser.text = nullptr;
    }
    return true;
}

struct Row {
    Tag parent;
    const char* name;
    Tag tag;
    Start start;
};
const Row ROWS[] = {
    {DOCUMENT, "import", LEAF, on_import},
    {DOCUMENT, "component", LEAF, on_component},
    {DOCUMENT, "dataType", TYPE, on_type},
    {DOCUMENT, "template", TEXT, on_template},
    {DOCUMENT, "model", MODEL, on_model},
    {TYPE, "description", TEXT, on_description},
    {TYPE, "list", LIST, on_facet<facet_list>},
    {SYNTAX, "dataType", VALUES, on_facet<facet_used_type>},
    {SYNTAX, "list", LIST, on_facet<facet_list>},
    {SYNTAX, "default", LEAF, on_facet<facet_default>},
    {VALUES, "size", LEAF, on_facet<facet_size>},
    {VALUES, "range", LEAF, on_facet<facet_range>},
    {VALUES, "enumeration", CHOICE, on_facet<facet_choice>},
    {VALUES, "pattern", LEAF, on_facet<facet_pattern>},
    {VALUES, "units", LEAF, on_facet<facet_units>},
    {VALUES, "pathRef", LEAF, on_facet<facet_path_ref>},
    {VALUES, "enumerationRef", LEAF, on_facet<facet_choices_from>},
    {LIST, "size", LEAF, on_facet<facet_list_size>},
    {CHOICE, "description", TEXT, on_description},
    {MODEL, "component", LEAF, on_component},
    {MODEL, "parameter", PARAMETER, on_parameter},
    {MODEL, "object", OBJECT, on_object},
    {OBJECT, "component", LEAF, on_component},
    {OBJECT, "description", TEXT, on_description},
    {OBJECT, "parameter", PARAMETER, on_parameter},
    {OBJECT, "uniqueKey", KEY, on_key},
    {OBJECT, "command", COMMAND, on_command},
    {OBJECT, "event", EVENT, on_event},
    {COMMAND, "description", TEXT, on_description},
    {COMMAND, "input", ARGUMENTS, on_input},
    {COMMAND, "output", ARGUMENTS, on_output},
    {EVENT, "description", TEXT, on_description},
    {EVENT, "parameter", PARAMETER, on_parameter},
    {EVENT, "object", OBJECT, on_object},
    {ARGUMENTS, "parameter", PARAMETER, on_parameter},
    {ARGUMENTS, "object", OBJECT, on_object},
    {PARAMETER, "description", TEXT, on_description},
    {PARAMETER, "syntax", SYNTAX, on_syntax},
    {KEY, "parameter", LEAF, on_key_parameter},
};

/// What stands right in a type, too, when it restricts another one.
Tag facets_parent(Tag parent) {
    return parent == TYPE ? VALUES : parent;
}

const Row* row_of(Tag parent, std::string_view name) {
    for (const Row& row : ROWS)
        if ((row.parent == parent || row.parent == facets_parent(parent)) && name == row.name) return &row;
    return nullptr;
}

bool document_start(Parser& parser, std::string_view space, std::string_view name, std::string& why) {
    if (name != "document" || !space.starts_with(NAMESPACE))
        return fail(why, "is no data model document: " + quoted(name) +
                             (space.empty() ? " in no namespace" : " of " + quoted(space)));
    parser.space = space;
    parser.open.push_back(DOCUMENT);
    return true;
}

bool element_start(Parser& parser, std::string_view space, std::string_view name,
                   const Attributes& attributes, std::string& why) {
    if (parser.open.empty()) return document_start(parser, space, name, why);
    bool foreign = !space.empty() && space != parser.space;
    Tag parent = parser.open.back();
    if (parser.passed_over || foreign) {
        parser.passed_over++;
        return true;
    }
    if ((parent == SYNTAX || parent == TYPE) && xml_is_primitive(name)) {
        parser.facets->type = name;
        parser.open.push_back(VALUES);
        return true;
    }
    const Row* row = row_of(parent, name);
    if (!row) {
        parser.passed_over++;
        return true;
    }
    if (!row->start(parser, attributes, why)) return false;
    parser.open.push_back(row->tag);
    return true;
}

bool element_end(Parser& parser, std::string& why) {
    if (parser.passed_over) {
        parser.passed_over--;
        return true;
    }
    switch (parser.open.back()) {
        case DOCUMENT:
            if (!parser.has_model) return fail(why, "holds no model");
            break;
        case OBJECT:
        case ARGUMENTS:
        case EVENT:
            parser.objects.pop_back();
            break;
        case TEXT:
            parser.text = nullptr;
            break;
        default:
            break;
    }
    parser.open.pop_back();
    return true;
}

}  // namespace

bool xml_is_primitive(std::string_view name) {
    return std::any_of(std::begin(PRIMITIVES), std::end(PRIMITIVES),
                       [name](const char* primitive) { return name == primitive; });
}

bool xml_document_read(const std::string& file, XmlDocument& document, std::string& error) {
    Parser parser{document};
    document.file = file;
    parser.handler.start = [&parser](std::string_view space, std::string_view name,
                                     const Attributes& attributes, std::string& why) {
        return element_start(parser, space, name, attributes, why);
    };
    parser.handler.end = [&parser](std::string& why) { return element_end(parser, why); };
    parser.handler.text = [&parser](std::string_view text) {
        if (parser.text && !parser.passed_over) parser.text->append(text);
    };
    return xml_read(file, parser.handler, error);
}

}  // namespace obxd
