// The bounds of a parameter's values, and how people are told of them.
#pragma once

#include <jansson.h>
#include <regex.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "owners.hpp"
#include "ox_tr_node.hpp"

namespace obxd {

struct regex_drop {
    void operator()(regex_t* regex) const {
        regfree(regex);
        delete regex;
    }
};
using RegexRef = std::unique_ptr<regex_t, regex_drop>;

/// For a list they bound each item, `min_count` and `max_count` the list.
struct Limits {
    int type = OX_TR_STRING;  ///< the base type; of the items where the parameter is a list
    bool list = false;
    bool has_min = false, has_max = false;
    json_int_t min = 0, max = 0;
    json_int_t min_length = 0, max_length = -1;  ///< -1: no bound
    json_int_t min_count = 0, max_count = -1;
    bool takes_empty = false;  ///< "" is the default, so it is always taken
    JsonRef choices;           ///< an array, or null: any
    std::string from;  ///< a list parameter whose items are the choices: a sibling's name or a full path
    RegexRef regex;
    std::vector<std::string> targets;  ///< objects that a reference may name; empty: any
};

/// The type of the values as a whole: OX_TR_LIST for a list.
int limits_type(const Limits& limits);
bool type_is_integer(int type);
bool type_is_boolean(int type);
/// What a value of a type must be: "an integer", "a string", ...
const char* type_text(int type);

/// True when the value is one of the choices.
bool choices_hold(const Limits& limits, const json_t* value);
/// The choices for people, the middle ones left out where they are many.
std::string choices_text(const Limits& limits);

struct Span {
    json_int_t low = INT64_MIN, high = INT64_MAX;
    bool has_low = false, has_high = false;
};
/// What an integer may be: the range of the type itself, narrowed by the parameter's own bounds.
Span integer_span(const Limits& limits);
/// "1 to 4", "at least 1", "at most 4" or "4"; one of the bounds must be there.
std::string span_text(const Span& span);

/// Compiles a pattern that the whole text of a value must match. False when it is none.
bool regex_compile(const char* pattern, RegexRef& regex);
/// The paths of a text in which they are separated by commas, without blanks and final dots.
std::vector<std::string> targets_split(std::string_view text);

}  // namespace obxd
