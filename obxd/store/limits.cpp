#include "limits.hpp"

#include <string.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace obxd {
namespace {

const char* const STATUS_WORDS[] = {"current", "deprecated", "obsoleted", "deleted"};

void number_add(std::string& text, double number) {
    char digits[40];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}
void number_add(std::string& text, json_int_t number) {
    text += std::to_string(number);
}

template <typename Number>
std::string range_text(const Range<Number>& range) {
    std::string text;
    if (range.has_min && range.has_max && range.min == range.max) {
        number_add(text, range.min);
        return text;
    }
    if (!range.has_max && range.has_min) text = "at least ";
    if (!range.has_min && range.has_max) text = "at most ";
    if (range.has_min) number_add(text, range.min);
    if (range.has_min && range.has_max) text += " to ";
    if (range.has_max) number_add(text, range.max);
    if (range.step == 0 || range.step == 1) return text;
    text += text.empty() ? "a multiple of " : " in steps of ";
    number_add(text, range.step);
    return text;
}

void or_add(std::string& text, const std::string& more) {
    if (!text.empty()) text += " or ";
    text += more;
}

/// Adds a value to a key, so that no two lists of values give the same text.
template <typename Value>
void key_add(std::string& key, const Value& value) {
    if constexpr (std::is_convertible_v<Value, std::string_view>) {
        std::string_view text(value);
        key += std::to_string(text.size()) + ':';
        key += text;
    } else if constexpr (std::is_enum_v<Value>) {
        key += std::to_string(static_cast<int>(value)) + ' ';
    } else {
        key += std::to_string(value) + ' ';
    }
}

template <typename Number>
void ranges_key(std::string& key, const std::vector<Range<Number>>& ranges) {
    key += 'r';
    for (const auto& range : ranges) {
        key += range.has_min ? '[' : '(';
        number_add(key, range.min);
        key += range.has_max ? ']' : ')';
        number_add(key, range.max);
        key += '/';
        number_add(key, range.step);
    }
}

void sizes_key(std::string& key, const std::vector<Size>& sizes) {
    key += 's';
    for (const Size& size : sizes) key_add(key, size.min), key_add(key, size.max);
}

void choices_key(std::string& key, const std::vector<Choice>& choices) {
    key += 'c';
    for (const Choice& choice : choices) {
        CharsRef dump(json_dumps(choice.value, JSON_ENCODE_ANY | JSON_COMPACT));
        key_add(key, dump ? dump.get() : "");
        key_add(key, choice.description ? choice.description : "");
        key_add(key, choice.status);
        key += choice.read_only ? 'o' : 'w';
        key += choice.optional ? '?' : '!';
    }
}

std::string choice_text(const Choice& choice) {
    if (json_is_string(choice.value)) return json_string_value(choice.value);
    CharsRef dump(json_dumps(choice.value, JSON_ENCODE_ANY));
    return dump ? dump.get() : "";
}

}  // namespace

const char* status_text(Status status) {
    return STATUS_WORDS[static_cast<size_t>(status)];
}

bool status_parse(const char* text, Status& status) {
    status = Status::CURRENT;
    if (!text) return true;
    for (size_t i = 0; i < std::size(STATUS_WORDS); i++) {
        if (strcmp(STATUS_WORDS[i], text) != 0) continue;
        status = static_cast<Status>(i);
        return true;
    }
    return false;
}

int limits_type(const Limits& limits) {
    return limits.list ? static_cast<int>(OX_TR_LIST) : limits.type;
}

bool type_is_integer(int type) {
    return type >= OX_TR_INT && type <= OX_TR_UNSIGNED_LONG;
}

bool type_is_boolean(int type) {
    return type == OX_TR_BOOLEAN || type == OX_TR_FLAG;
}

const char* type_text(int type) {
    if (type_is_integer(type)) return "an integer";
    if (type_is_boolean(type)) return "true or false";
    if (type == OX_TR_DECIMAL) return "a number";
    return type == OX_TR_JSON ? "a JSON object or array" : "a string";
}

uint8_t type_family(std::string_view name) {
    if (name == "IPv4Address" || name == "IPv4Prefix") return 4;
    return name == "IPv6Address" || name == "IPv6Prefix" ? 6 : 0;
}

bool limits_finish(Limits& limits, std::string& why) {
    for (Pattern& pattern : limits.patterns) {
        std::string wrong;
        pattern.program = expression_compile(pattern.text, pattern.syntax, wrong);
        if (pattern.program) continue;
        why = "bad regex \"" + pattern.text + "\": it " + wrong;
        return false;
    }
    return true;
}

std::string limits_key(const Limits& limits) {
    std::string key = std::to_string(limits.type) + (limits.list ? "l" : "v");
    key_add(key, limits.family);
    ranges_key(key, limits.ranges);
    ranges_key(key, limits.decimal_ranges);
    sizes_key(key, limits.sizes);
    key += 'p';
    for (const Pattern& pattern : limits.patterns) key_add(key, pattern.text), key_add(key, pattern.syntax);
    choices_key(key, limits.choices);
    key_add(key, limits.from);
    key += limits.null_value ? 'n' : '-';
    key_add(key, limits.null_value.value_or(""));
    sizes_key(key, {limits.items});
    sizes_key(key, limits.list_sizes);
    key_add(key, limits.brackets);
    key += 't';
    for (const std::string& target : limits.targets) key_add(key, target);
    key_add(key, limits.target_type);
    key_add(key, limits.target_data_type);
    key += limits.weak ? 'w' : 's';
    CharsRef taken(limits.taken ? json_dumps(limits.taken, JSON_ENCODE_ANY | JSON_COMPACT) : nullptr);
    key_add(key, taken ? taken.get() : "");
    return limits.inner ? key + '(' + limits_key(*limits.inner) + ')' : key;
}

bool choices_hold(const Limits& limits, const json_t* value) {
    return std::any_of(limits.choices.begin(), limits.choices.end(),
                       [value](const Choice& choice) { return json_equal(choice.value, value) != 0; });
}

bool choice_offered(const Choice& choice) {
    return !choice.read_only && choice.status != Status::OBSOLETED && choice.status != Status::DELETED;
}

std::string choices_text(const Limits& limits, bool settable) {
    std::vector<const Choice*> shown;
    for (const Choice& choice : limits.choices)
        if (!settable || choice_offered(choice)) shown.push_back(&choice);
    std::string text;
    for (size_t i = 0; i < shown.size(); i++) {
        if (i == 12 && shown.size() > 14) return text + ", ...";
        if (i) text += ", ";
        text += choice_text(*shown[i]);
    }
    return text;
}

IntegerRange type_range(int type) {
    if (type == OX_TR_INT) return {INT32_MIN, INT32_MAX, true, true};
    if (type == OX_TR_UNSIGNED_INT) return {0, UINT32_MAX, true, true};
    return {0, 0, type == OX_TR_UNSIGNED_LONG, false};
}

IntegerRange range_narrow(const IntegerRange& range, const IntegerRange& by) {
    IntegerRange narrow = range;
    if (by.has_min && (!range.has_min || range.min < by.min)) narrow.min = by.min;
    if (by.has_max && (!range.has_max || range.max > by.max)) narrow.max = by.max;
    narrow.has_min |= by.has_min;
    narrow.has_max |= by.has_max;
    return narrow;
}

std::string ranges_text(const Limits& limits, bool closed) {
    std::string text;
    if (limits.type == OX_TR_DECIMAL) {
        for (const DecimalRange& range : limits.decimal_ranges) or_add(text, range_text(range));
        return text;
    }
    IntegerRange own = type_range(limits.type);
    if (closed) own = range_narrow({INT64_MIN, INT64_MAX, true, true}, own);
    for (const IntegerRange& range : limits.ranges) {
        IntegerRange narrow = range_narrow(range, own);
        if (!narrow.has_max || !narrow.has_min || narrow.min <= narrow.max) or_add(text, range_text(narrow));
    }
    return text.empty() ? range_text(own) : text;
}

std::string sizes_text(const std::vector<Size>& sizes) {
    std::string text;
    for (const Size& size : sizes)
        or_add(text,
               range_text(IntegerRange{size.min, size.max, size.min > 0 || size.max == 0, size.max >= 0}));
    return text;
}

bool size_fits(const std::vector<Size>& sizes, json_int_t size) {
    return sizes.empty() || std::any_of(sizes.begin(), sizes.end(), [size](const Size& one) {
               return size >= one.min && (one.max < 0 || size <= one.max);
           });
}

std::vector<std::string> targets_split(std::string_view text) {
    std::vector<std::string> targets;
    while (!text.empty()) {
        size_t comma = text.find(',');
        std::string_view part = text.substr(0, comma);
        while (!part.empty() && part.front() == ' ') part.remove_prefix(1);
        // "." alone is the top.
        while (part.size() > 1 && (part.back() == '.' || part.back() == ' ')) part.remove_suffix(1);
        if (!part.empty()) targets.emplace_back(part);
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return targets;
}

}  // namespace obxd
