// The bounds of a parameter's values, and how people are told of them.
//
// A loader fills a Limits with what its document says of a parameter, its types' facets included; parameters
// that say the same share one (builder.hpp). Texts are NUL-terminated and belong to the model's Texts.
#pragma once

#include <jansson.h>
#include <stdint.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "owners.hpp"
#include "ox_tr_node.hpp"
#include "store/expression.hpp"

namespace obxd {

/// Where a node, or one of a parameter's values, is in its life.
enum class Status : uint8_t { CURRENT, DEPRECATED, OBSOLETED, DELETED };

/// One of the ranges of an integer (a json_int_t) or of a decimal (a double). A bound that is beyond JSON's
/// integers is the type's own: none.
template <typename Number>
struct Range {
    Number min = 0, max = 0;
    bool has_min = false, has_max = false;
    Number step = 0;  ///< from `min` (from 0 where there is none); 0: any number
};
using IntegerRange = Range<json_int_t>;
using DecimalRange = Range<double>;

/// From `min` to `max`: characters, octets or items.
struct Size {
    json_int_t min = 0, max = -1;  ///< `max` -1: no bound
};

/// A text's pattern, which its whole text must match.
struct Pattern {
    std::string text;
    Syntax syntax = Syntax::XML_SCHEMA;
    Expression program;  ///< made by limits_finish()
};

/// One of the values that an enumeration lists.
struct Choice {
    JsonRef value;
    const char* description = nullptr;
    Status status = Status::CURRENT;
    bool read_only = false;  ///< the device may say so, a client may not
    bool optional = false;   ///< a device need not have it
};

/// What a reference may name.
enum class TargetType : uint8_t { ANY, OBJECT, ROW, SINGLE, PARAMETER };
/// Whether a value of several levels ([1,2],[3,4]) is written with brackets.
enum class Brackets : uint8_t { LEGACY, REQUIRED, PROHIBITED };

/// Of a list: `type` and all facets are those of an item, but for those that name the list. Where a facet may
/// stand several times, a value must fit one of them; none at all is no bound.
struct Limits {
    int type = OX_TR_STRING;  ///< the base type, an ox_tr type code (never OX_TR_LIST)
    uint8_t family = 0;       ///< 4 or 6: an IPAddress or IPPrefix of that version alone

    std::vector<IntegerRange> ranges;          ///< of integers
    std::vector<DecimalRange> decimal_ranges;  ///< of decimals
    std::vector<Size> sizes;                   ///< of texts: characters, or octets of base64 and hexBinary
    std::vector<Pattern> patterns;             ///< of texts
    std::vector<Choice> choices;

    /// The parameter whose items are the choices (an enumerationRef): a path as scopes.hpp has it. Empty:
    /// none.
    std::string from;
    std::optional<std::string> null_value;  ///< of such a reference: what it holds while it names nothing

    bool list = false;
    Size items;                    ///< of the list: how many
    std::vector<Size> list_sizes;  ///< of the list: the characters of its whole text
    Brackets brackets = Brackets::LEGACY;
    /// Of a list whose items are lists again: those inner lists (then `type` and the other facets are theirs
    /// too). Null for a list of plain values.
    std::shared_ptr<const Limits> inner;

    /// Of a pathRef: the objects (tables for rows, parameters where those are named) that it may name, as
    /// scopes.hpp has paths. Empty: anything.
    std::vector<std::string> targets;
    TargetType target_type = TargetType::ANY;
    std::string target_data_type;  ///< of a reference to parameters: their type; empty: any
    bool weak = false;             ///< may name what is not there, and is left alone by a delete

    /// A value that always fits, whatever the facets say: a default that they do not take. Null: none.
    JsonRef taken;
};

/// "current", "deprecated", "obsoleted", "deleted".
const char* status_text(Status status);
/// A status by its word; null is the current one. False for no such word.
bool status_parse(const char* text, Status& status);

/// The type of the values as a whole: OX_TR_LIST for a list.
int limits_type(const Limits& limits);
bool type_is_integer(int type);
bool type_is_boolean(int type);
/// What a value of a type must be: "an integer", "a string", ...
const char* type_text(int type);
/// The version that a named type of addresses or prefixes is for (IPv4Address, IPv6Prefix, ...): 4, 6 or 0.
uint8_t type_family(std::string_view name);

/// Compiles the patterns. False with `why` when one is none.
bool limits_finish(Limits& limits, std::string& why);
/// A text that is equal for limits that say the same (the description of choices included).
std::string limits_key(const Limits& limits);

/// True when the value is one of the choices.
bool choices_hold(const Limits& limits, const json_t* value);
/// Whether a client is offered the choice for a parameter that it can set.
bool choice_offered(const Choice& choice);
/// The choices for people (`settable`: the offered ones), the middle ones left out where they are many.
std::string choices_text(const Limits& limits, bool settable);

/// The range of an integer type itself.
IntegerRange type_range(int type);
IntegerRange range_narrow(const IntegerRange& range, const IntegerRange& by);
/// The ranges for people: "1 to 4", "at least 1", "0 or 10 to 20 in steps of 5"; the type's own where there
/// are none. `closed`: with the bounds of JSON's integers where there is no other.
std::string ranges_text(const Limits& limits, bool closed = false);
/// The same of sizes: "6", "1 to 8", "0 or 36 to 260".
std::string sizes_text(const std::vector<Size>& sizes);
bool size_fits(const std::vector<Size>& sizes, json_int_t size);

/// The paths of a text in which they are separated by commas, without blanks and final dots.
std::vector<std::string> targets_split(std::string_view text);

}  // namespace obxd
