// A data model document as it was published: records of what stands in it, each with its line.
//
// Names and references are trimmed; nothing is resolved yet.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace obxd {

/// What a type or a parameter says of its values: one bit for each kind of statement that stands there.
enum XmlFacetKind : uint16_t {
    XML_LIST = 1 << 0,
    XML_LIST_SIZE = 1 << 1,
    XML_SIZE = 1 << 2,
    XML_RANGE = 1 << 3,
    XML_PATTERN = 1 << 4,
    XML_CHOICE = 1 << 5,
    XML_CHOICES_FROM = 1 << 6,
    XML_PATH_REF = 1 << 7,
    XML_UNITS = 1 << 8,
    XML_DEFAULT = 1 << 9,
};

struct XmlRange {
    std::string min, max, step;  ///< as they stand; "": none
};
struct XmlSize {
    std::string min, max;
};
struct XmlChoice {
    std::string value, description;
    bool read_only = false, optional = false;
    std::string status;  ///< "deprecated", "obsoleted", "deleted" or ""
};

/// The syntax of a parameter, or what a data type says.
struct XmlFacets {
    uint16_t kinds = 0;
    std::string type;    ///< "string", "int", ..., or "" where only a named type is given
    std::string base;    ///< the named type that is restricted or used, or ""
    std::string nested;  ///< brackets of lists in a list: "allowed", "required", "legacy" or ""
    XmlSize items;       ///< of a list: how many
    std::vector<XmlSize> list_sizes, sizes;
    std::vector<XmlRange> ranges;
    std::vector<std::string> patterns;
    std::vector<XmlChoice> choices;
    std::string choices_from, choices_scope;  ///< the list parameter whose items are the choices
    std::string null_value;
    bool has_null_value = false;
    std::vector<std::string> targets;  ///< objects that a reference may name
    std::string target_scope;          ///< "normal", "model" or "object"
    std::string target_type;           ///< "row", "single", "parameter", "any" ...
    std::string target_data_type;      ///< of a reference to parameters
    bool weak = false;
    std::string units;
    std::string initial, initial_type;  ///< the default, and when it holds: "object", "factory", ...
    bool hidden = false, secured = false, command = false;
};

struct XmlType {
    unsigned long line = 0;
    std::string name, description;
    XmlFacets facets;
};

struct XmlParameter {
    unsigned long line = 0;
    std::string name, access, status, version, description;
    bool mandatory = false;  ///< of an argument
    XmlFacets facets;
};

struct XmlKey {
    bool functional = true;
    std::vector<std::string> parameters;
};

struct XmlObject;

/// What is called, or told: arguments have objects of their own.
struct XmlCommand {
    unsigned long line = 0;
    std::string name, status, version, description;
    bool async = false;
    std::unique_ptr<XmlObject> input, output;  ///< the arguments of an event are its output
};

struct XmlObject {
    unsigned long line = 0;
    std::string name;  ///< as it stands: "Device.Hosts.Host.{i}."
    std::string access, status, version, description;
    std::string min_entries = "1", max_entries = "1";
    std::string counter, enable;  ///< numEntriesParameter, enableParameter
    std::vector<XmlKey> keys;
    std::vector<XmlParameter> parameters;
    std::vector<XmlCommand> commands, events;
    std::vector<XmlObject> objects;  ///< of arguments
};

struct XmlDocument {
    std::string file;
    std::string model;  ///< "Device:2.17"
    std::vector<XmlType> types;
    std::vector<std::pair<std::string, std::string>> templates;  ///< texts that descriptions take in by name
    XmlObject top;                                               ///< parameters right in the model
    std::vector<XmlObject> objects;
};

}  // namespace obxd
