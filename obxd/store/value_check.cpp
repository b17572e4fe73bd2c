#include "value_check.hpp"

#include <ctype.h>
#include <errno.h>
#include <inttypes.h>
#include <math.h>
#include <stdlib.h>

#include <algorithm>

#include "answers.hpp"
#include "ox_tr_names.hpp"
#include "store/live.hpp"
#include "store/pattern.hpp"
#include "store/scopes.hpp"
#include "store/value_text.hpp"

namespace obxd {
namespace {

constexpr json_int_t EXACT_REAL = 1000000000000000;  // from here on a real is written as another number

/// What is checked against what, by whom.
struct Check {
    Model& model;
    const Limits& limits;
    const Schema* object;  ///< the parameter's
    const Node*
        node;  ///< its values, of it or (for arguments) of one above; null: nothing that depends on others
    bool settable;  ///< a client sets it: what only the device may say is refused
    std::string& why;

    int refuse(const std::string& text) const {
        why = text;
        return FAULT_INVALID_VALUE;
    }
};

bool is_text(const json_t* choice, std::string_view text) {
    return json_is_string(choice) &&
           text == std::string_view(json_string_value(choice), json_string_length(choice));
}

/// Whether `is` holds for one of the choices that may be set.
template <typename Is>
int choice_check(const Check& check, const Is& is) {
    for (const Choice& choice : check.limits.choices)
        if ((!check.settable || choice_offered(choice)) && is(choice.value)) return 0;
    return check.refuse("must be one of " + choices_text(check.limits, check.settable));
}

template <typename Number>
bool in_steps(const Range<Number>& range, Number number) {
    if constexpr (std::is_integral_v<Number>) {
        // Unsigned, because the distance may be beyond what is signed.
        if (range.step <= 1) return true;
        if (!range.has_min) return number % range.step == 0;
        return (static_cast<uint64_t>(number) - static_cast<uint64_t>(range.min)) %
                   static_cast<uint64_t>(range.step) ==
               0;
    } else {
        if (range.step <= 0) return true;
        double steps = (number - (range.has_min ? range.min : 0)) / range.step;
        return fabs(steps - round(steps)) < 1e-6;
    }
}

template <typename Number>
bool in_range(const Range<Number>& range, Number number) {
    return (!range.has_min || number >= range.min) && (!range.has_max || number <= range.max) &&
           in_steps(range, number);
}

template <typename Number>
bool in_ranges(const std::vector<Range<Number>>& ranges, Number number) {
    return ranges.empty() || std::any_of(ranges.begin(), ranges.end(),
                                         [number](const auto& range) { return in_range(range, number); });
}

int integer_check(const Check& check, json_int_t number) {
    const Limits& limits = check.limits;
    if (in_range(type_range(limits.type), number) && in_ranges(limits.ranges, number)) return 0;
    return check.refuse("must be " + ranges_text(limits));
}

int decimal_check(const Check& check, double number) {
    if (in_ranges(check.limits.decimal_ranges, number)) return 0;
    return check.refuse("must be " + ranges_text(check.limits));
}

/// The items of the list parameter that this one takes its choices from, or null; `from` becomes its path.
const char* choices_from(const Check& check, std::string& from) {
    from = scope_path(check.object, check.node, check.limits.from);
    Place place;
    if (!parameter_find(check.model, from, place)) return nullptr;
    return json_string_value(value_read(place.node, place.schema, &from));
}

int from_check(const Check& check, std::string_view text) {
    const Limits& limits = check.limits;
    if (limits.null_value && text == *limits.null_value) return 0;
    std::string from;
    const char* choices = choices_from(check, from);
    if (!choices) return 0;
    for (std::string_view choice : list_items(choices))
        if (choice == text && !text.empty()) return 0;
    return check.refuse(*choices ? std::string("must be one of ") + choices
                                 : "must be one of the items of " + from + ", which has none");
}

/// Whether a reference to an object of the model may name that one: an instance of it, something of that very
/// name that has none, or (`type`) what stands right below it.
bool target_allows(const std::string& target, TargetType type, std::string_view path, const Place& place) {
    size_t target_left, path_left;
    if (place.is_table() || !pattern_fits(target, path, target_left, path_left) || target_left) return false;
    if (type == TargetType::PARAMETER) return place.is_parameter() && path_left <= 1;
    if (type == TargetType::ROW && scope_is_top(target)) return place.is_instance();
    if (path_left == 1)
        return place.is_instance() || type == TargetType::SINGLE || type == TargetType::OBJECT;
    return path_left == 0 && (!place.is_instance() || target.ends_with(OX_TR_TEMPLATE));
}

/// A target that the model does not have (a service that is not there) bounds nothing: the daemon told of it
/// when it started.
bool is_known(Model& model, const std::string& target) {
    Place place = place_of_schema(&model.root);
    return place_follow(place, target);
}

int reference_check(const Check& check, std::string_view path) {
    const Limits& limits = check.limits;
    if (path.empty()) return 0;
    Place place;
    bool found = place_find(check.model, path, place) && !place.is_method();
    if (!found && limits.weak) return 0;
    if (!found) return check.refuse("names nothing that exists: " + std::string(path));
    if (limits.target_type == TargetType::PARAMETER && !place.is_parameter())
        return check.refuse("must name a parameter");
    std::string allowed;
    bool known = false;
    for (const std::string& wanted : limits.targets) {
        std::string target = scope_path(check.object, check.node, wanted);
        if (target_allows(target, limits.target_type, path, place)) return 0;
        allowed += (allowed.empty() ? "" : " or ") + target;
        known |= is_known(check.model, target);
    }
    if (!known) return 0;
    return check.refuse((limits.target_type == TargetType::PARAMETER ? "must name a parameter of "
                                                                     : "must name an instance of ") +
                        allowed);
}

bool patterns_fit(const std::vector<Pattern>& patterns, std::string_view text) {
    return patterns.empty() || std::any_of(patterns.begin(), patterns.end(), [text](const Pattern& pattern) {
               return expression_matches(*pattern.program, text);
           });
}

/// One text: the value of a textual parameter, or an item of a list.
int text_check(const Check& check, std::string_view text) {
    const Limits& limits = check.limits;
    if (!limits.choices.empty())
        return choice_check(check, [text](const json_t* choice) { return is_text(choice, text); });
    if (const char* wrong = text_wrong(limits.type, text, limits.family)) return check.refuse(wrong);
    if (!size_fits(limits.sizes, static_cast<json_int_t>(text_length(limits.type, text)))) {
        bool octets = limits.type == OX_TR_HEX_BINARY || limits.type == OX_TR_BASE64;
        return check.refuse("must be " + sizes_text(limits.sizes) +
                            (octets ? " octets long" : " characters long"));
    }
    if (!patterns_fit(limits.patterns, text)) return check.refuse("does not match the pattern");
    if (!check.node) return 0;
    if (limits.type == OX_TR_PATH_REF) return reference_check(check, text);
    return limits.from.empty() ? 0 : from_check(check, text);
}

/// An integer written as text, which may be beyond those of JSON.
int integer_item_check(const Check& check, const std::string& item) {
    const Limits& limits = check.limits;
    bool digits = !item.empty() && !isspace(static_cast<unsigned char>(item[0]));
    char* end = nullptr;
    errno = 0;
    json_int_t number = strtoll(item.c_str(), &end, 10);
    bool large = digits && !*end && errno == ERANGE && item[0] != '-';
    bool bounded = !limits.ranges.empty() && std::all_of(limits.ranges.begin(), limits.ranges.end(),
                                                         [](const auto& range) { return range.has_max; });
    if (large && limits.type == OX_TR_UNSIGNED_LONG && !bounded) {
        errno = 0;
        strtoull(item.c_str(), nullptr, 10);
        if (!errno) return 0;
    }
    if (!digits || *end || errno)
        return check.refuse(
            (digits && !*end ? "holds an integer that is out of range: " : "holds what is no integer: ") +
            item);
    int code = integer_check(check, number);
    if (code || limits.choices.empty()) return code;
    return choice_check(check, [number](const json_t* choice) {
        return json_is_integer(choice) && json_integer_value(choice) == number;
    });
}

/// The other types whose values are no texts by themselves.
int item_check(const Check& check, std::string_view item) {
    std::string text(item);
    int type = check.limits.type;
    if (type_is_integer(type)) return integer_item_check(check, text);
    if (type_is_boolean(type)) {
        if (text == "true" || text == "false" || text == "1" || text == "0") return 0;
        return check.refuse("holds what is neither true nor false: " + text);
    }
    if (type != OX_TR_DECIMAL) return text_check(check, item);
    char* end = nullptr;
    double number = strtod(text.c_str(), &end);
    bool whole = !text.empty() && !*end && isfinite(number) && !isspace(static_cast<unsigned char>(text[0]));
    if (whole) return decimal_check(check, number);
    return check.refuse("holds what is no number: " + text);
}

int list_check(const Check& check, std::string_view text);

/// An item that is a list itself: in brackets, which may be missing where they are not asked for.
int inner_check(const Check& check, std::string_view item) {
    Check inner{check.model, *check.limits.inner, check.object, check.node, check.settable, check.why};
    bool bracketed = item.size() >= 2 && item.front() == '[' && item.back() == ']';
    if (check.limits.brackets == Brackets::PROHIBITED && bracketed)
        return check.refuse("must be written without brackets");
    if (bracketed) return list_check(inner, item.substr(1, item.size() - 2));
    if (check.limits.brackets == Brackets::REQUIRED)
        return check.refuse("must be lists in brackets, such as [1,2],[3,4]");
    return item_check(inner, item);
}

int items_check(const Check& check, const std::vector<std::string_view>& items) {
    const Limits& limits = check.limits;
    for (std::string_view item : items) {
        int code = limits.inner ? inner_check(check, item) : item_check(check, item);
        if (code) return code;
    }
    if (size_fits({limits.items}, static_cast<json_int_t>(items.size()))) return 0;
    return check.refuse("must have " + sizes_text({limits.items}) + " items");
}

/// The items of a list whose items all stand in brackets, which keep commas of their own together; else none.
std::vector<std::string_view> bracketed_items(std::string_view text) {
    std::vector<std::string_view> items = list_groups(text);
    for (std::string_view& item : items) {
        if (item.size() < 2 || item.front() != '[' || item.back() != ']') return {};
        item = item.substr(1, item.size() - 2);
    }
    return items;
}

int list_check(const Check& check, std::string_view text) {
    const Limits& limits = check.limits;
    int code = items_check(check, limits.inner ? list_groups(text) : list_items(text));
    if (code && !limits.inner && limits.brackets != Brackets::PROHIBITED) {
        std::vector<std::string_view> items = bracketed_items(text);
        if (!items.empty()) code = items_check(check, items);
    }
    if (code) return code;
    if (!size_fits(limits.list_sizes, static_cast<json_int_t>(text_length(OX_TR_STRING, text))))
        return check.refuse("must be " + sizes_text(limits.list_sizes) + " characters long as a whole");
    return 0;
}

int wrong_type(int type, std::string& why) {
    why = std::string("must be ") + type_text(type);
    return FAULT_INVALID_TYPE;
}

int typed_check(const Check& check, const json_t* value) {
    const Limits& limits = check.limits;
    int type = limits_type(limits);
    if (type_is_integer(type)) {
        if (!json_is_integer(value)) return wrong_type(type, check.why);
        int code = integer_check(check, json_integer_value(value));
        if (code || limits.choices.empty()) return code;
        return choice_check(check, [value](const json_t* choice) { return json_equal(choice, value) != 0; });
    }
    if (type_is_boolean(type)) return json_is_boolean(value) ? 0 : wrong_type(type, check.why);
    if (type == OX_TR_DECIMAL) {
        if (!json_is_number(value)) return wrong_type(type, check.why);
        if (json_is_integer(value) && imaxabs(json_integer_value(value) / 10) >= EXACT_REAL / 10)
            return check.refuse("must have at most 15 digits");
        return decimal_check(check, json_number_value(value));
    }
    if (type == OX_TR_JSON)
        return json_is_object(value) || json_is_array(value) ? 0 : wrong_type(type, check.why);
    if (!json_is_string(value)) return wrong_type(type, check.why);
    std::string_view text(json_string_value(value), json_string_length(value));
    return limits.list ? list_check(check, text) : text_check(check, text);
}

}  // namespace

int value_check(Model& model, const Schema* parameter, const Node* node, const json_t* value,
                std::string& why, bool by_client) {
    const Limits& limits = *parameter->limits;
    Check check{model, limits, parameter->parent, node, by_client && parameter->writable, why};
    int code = typed_check(check, value);
    return code == FAULT_INVALID_VALUE && limits.taken && json_equal(limits.taken, value) ? 0 : code;
}

}  // namespace obxd
