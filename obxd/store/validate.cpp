// Whether a value fits its parameter.

#include <ctype.h>
#include <errno.h>
#include <inttypes.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>

#include "impl.hpp"
#include "value_text.hpp"

namespace obxd {
namespace {

constexpr json_int_t EXACT_REAL = 1000000000000000;  // from here on a real is written as another number

bool is_integer_type(int type) {
    return type >= OX_TR_INT && type <= OX_TR_UNSIGNED_LONG;
}

std::string choices_text(const json_t* choices) {
    std::string text;
    size_t count = json_array_size(choices);
    for (size_t i = 0; i < count; i++) {
        if (i == 12 && count > 14) return text + ", ...";
        if (i) text += ", ";
        const json_t* choice = json_array_get(choices, i);
        CharsRef dump(json_is_string(choice) ? nullptr : json_dumps(choice, JSON_ENCODE_ANY));
        text += dump ? dump.get() : json_string_value(choice);
    }
    return text;
}

bool among(const json_t* choices, std::string_view text) {
    for (size_t i = 0; i < json_array_size(choices); i++) {
        const json_t* choice = json_array_get(choices, i);
        if (json_is_string(choice) &&
            text == std::string_view(json_string_value(choice), json_string_length(choice)))
            return true;
    }
    return false;
}

std::string span_text(bool has_low, json_int_t low, bool has_high, json_int_t high) {
    if (has_low && has_high) {
        if (low == high) return std::to_string(low);
        return std::to_string(low) + " to " + std::to_string(high);
    }
    return (has_low ? "at least " : "at most ") + std::to_string(has_low ? low : high);
}

struct Span {
    json_int_t low = INT64_MIN, high = INT64_MAX;
    bool has_low = false, has_high = false;
};

/// The range of the type itself, narrowed by the parameter's own bounds.
Span integer_span(const Limits& limits) {
    Span span{limits.has_min ? limits.min : INT64_MIN, limits.has_max ? limits.max : INT64_MAX,
              limits.has_min, limits.has_max};
    auto narrow = [&](json_int_t type_low, json_int_t type_high) {
        span.low = std::max(span.low, type_low);
        span.high = std::min(span.high, type_high);
        span.has_low = true;
        span.has_high |= type_high != INT64_MAX;
    };
    if (limits.type == OX_TR_INT)
        narrow(INT32_MIN, INT32_MAX);
    else if (limits.type == OX_TR_UNSIGNED_INT)
        narrow(0, UINT32_MAX);
    else if (limits.type == OX_TR_UNSIGNED_LONG)
        narrow(0, INT64_MAX);
    return span;
}

int integer_check(const Limits& limits, json_int_t number, std::string& why) {
    Span span = integer_span(limits);
    if (number >= span.low && number <= span.high) return 0;
    why = "must be " + span_text(span.has_low, span.low, span.has_high, span.high);
    return FAULT_INVALID_VALUE;
}

/// What an integer written as text is told that JSON has no room for.
int integer_beyond(const Limits& limits, std::string& why) {
    Span span = integer_span(limits);
    why = "must be " + span_text(true, span.low, true, span.high);
    return FAULT_INVALID_VALUE;
}

int decimal_check(const Limits& limits, double number, std::string& why) {
    bool low = limits.has_min && number < static_cast<double>(limits.min);
    bool high = limits.has_max && number > static_cast<double>(limits.max);
    if (!low && !high) return 0;
    why = "must be " + span_text(limits.has_min, limits.min, limits.has_max, limits.max);
    return FAULT_INVALID_VALUE;
}

/// The items of the list parameter that another one takes its choices from, or null.
const char* choices_from(Impl& impl, const std::string& from, const Node* node) {
    Target target;
    if (from.find('.') != std::string::npos) {
        if (!target_find(impl, from, target) || !target.schema || target.schema->kind != Schema::PARAMETER)
            return nullptr;
    } else {
        target.schema = schema_child(node->schema, from);
        target.node = const_cast<Node*>(node);
        if (!target.schema || target.schema->kind != Schema::PARAMETER) return nullptr;
    }
    return json_string_value(value_read(target.node, target.schema, nullptr));
}

bool path_matches(std::string_view path, const std::string& pattern, bool below) {
    std::vector<std::string_view> parts, wanted;
    if (!path_split(path, parts) || !path_split(pattern, wanted)) return false;
    if (parts.size() != wanted.size() + (below ? 1 : 0)) return false;
    for (size_t i = 0; i < wanted.size(); i++) {
        uint32_t number;
        if (wanted[i] == "*" || wanted[i] == "#template") {
            if (!instance_number(parts[i], number)) return false;
        } else if (wanted[i] != parts[i]) {
            return false;
        }
    }
    return true;
}

int reference_check(Impl& impl, const Limits& limits, std::string_view path, std::string& why) {
    if (path.empty()) return 0;
    Target target;
    if (!target_find(impl, path, target) || (target.schema && target.schema->kind == Schema::METHOD)) {
        why = "names nothing that exists: " + std::string(path);
        return FAULT_INVALID_VALUE;
    }
    if (limits.targets.empty()) return 0;
    std::string allowed;
    for (const std::string& wanted : limits.targets) {
        bool instance = target.is_object() && target.node->number != 0;
        bool table = target.is_object() && is_table(target.node);
        if (!table && path_matches(path, wanted, instance)) return 0;
        allowed += (allowed.empty() ? "" : " or ") + wanted;
    }
    why = "must name an instance of " + allowed;
    return FAULT_INVALID_VALUE;
}

/// One text: the value of a textual parameter, or an item of a list.
int text_check(Impl& impl, const Limits& limits, const Node* node, std::string_view text, std::string& why) {
    if (limits.choices) {
        if (among(limits.choices, text)) return 0;
        why = "must be one of " + choices_text(limits.choices);
        return FAULT_INVALID_VALUE;
    }
    if (const char* wrong = text_wrong(limits.type, text)) {
        why = wrong;
        return FAULT_INVALID_VALUE;
    }
    json_int_t length = static_cast<json_int_t>(text_length(limits.type, text));
    if (length < limits.min_length || (limits.max_length >= 0 && length > limits.max_length)) {
        const char* unit =
            limits.type == OX_TR_HEX_BINARY || limits.type == OX_TR_BASE64 ? " octets" : " characters";
        why = "must be " +
              span_text(limits.min_length > 0, limits.min_length, limits.max_length >= 0, limits.max_length) +
              unit + " long";
        return FAULT_INVALID_VALUE;
    }
    if (limits.regex && regexec(limits.regex.get(), std::string(text).c_str(), 0, nullptr, 0) != 0) {
        why = "does not match the pattern";
        return FAULT_INVALID_VALUE;
    }
    if (!node) return 0;
    if (limits.type == OX_TR_PATH_REF) return reference_check(impl, limits, text, why);
    if (limits.from.empty()) return 0;
    const char* choices = choices_from(impl, limits.from, node);
    if (!choices) return 0;
    for (std::string_view choice : list_items(choices))
        if (choice == text && !text.empty()) return 0;
    why = std::string("must be one of ") + choices;
    return FAULT_INVALID_VALUE;
}

/// An integer written as text, which may be beyond those of JSON.
int integer_item_check(const Limits& limits, const std::string& item, std::string& why) {
    bool digits = !item.empty() && !isspace(static_cast<unsigned char>(item[0]));
    char* end = nullptr;
    errno = 0;
    json_int_t number = strtoll(item.c_str(), &end, 10);
    bool large = digits && !*end && errno == ERANGE && item[0] != '-';
    if (large && limits.type == OX_TR_UNSIGNED_LONG && !limits.has_max) {
        errno = 0;
        strtoull(item.c_str(), nullptr, 10);
        if (!errno) return 0;
    }
    if (digits && !*end && !errno) return integer_check(limits, number, why);
    why = (digits && !*end ? "holds an integer that is out of range: " : "holds what is no integer: ") + item;
    return FAULT_INVALID_VALUE;
}

/// The other types whose values are no texts by themselves.
int item_check(Impl& impl, const Limits& limits, const Node* node, std::string_view item, std::string& why) {
    std::string text(item);
    if (is_integer_type(limits.type)) return integer_item_check(limits, text, why);
    if (limits.type == OX_TR_BOOLEAN || limits.type == OX_TR_FLAG) {
        if (text == "true" || text == "false" || text == "1" || text == "0") return 0;
        why = "holds what is neither true nor false: " + text;
        return FAULT_INVALID_VALUE;
    }
    if (limits.type != OX_TR_DECIMAL) return text_check(impl, limits, node, item, why);
    char* end = nullptr;
    double number = strtod(text.c_str(), &end);
    bool whole = !text.empty() && !*end && isfinite(number) && !isspace(static_cast<unsigned char>(text[0]));
    if (whole) return decimal_check(limits, number, why);
    why = "holds what is no number: " + text;
    return FAULT_INVALID_VALUE;
}

int list_check(Impl& impl, const Limits& limits, const Node* node, std::string_view text, std::string& why) {
    std::vector<std::string_view> items = list_items(text);
    for (std::string_view item : items) {
        int code = item_check(impl, limits, node, item, why);
        if (code) return code;
    }
    json_int_t count = static_cast<json_int_t>(items.size());
    if (count >= limits.min_count && (limits.max_count < 0 || count <= limits.max_count)) return 0;
    why = "must have " +
          span_text(limits.min_count > 0, limits.min_count, limits.max_count >= 0, limits.max_count) +
          " items";
    return FAULT_INVALID_VALUE;
}

int wrong_type(const char* what, std::string& why) {
    why = std::string("must be ") + what;
    return FAULT_INVALID_TYPE;
}

}  // namespace

int value_check(Impl& impl, const Schema* parameter, const Node* node, const json_t* value,
                std::string& why) {
    const Limits& limits = *parameter->limits;
    int type = limits.list ? OX_TR_LIST : limits.type;
    if (is_integer_type(type)) {
        if (!json_is_integer(value)) return wrong_type("an integer", why);
        int code = integer_check(limits, json_integer_value(value), why);
        if (code || !limits.choices || choices_hold(limits, value)) return code;
        why = "must be one of " + choices_text(limits.choices);
        return FAULT_INVALID_VALUE;
    }
    if (type == OX_TR_BOOLEAN || type == OX_TR_FLAG)
        return json_is_boolean(value) ? 0 : wrong_type("true or false", why);
    if (type == OX_TR_DECIMAL) {
        if (!json_is_number(value)) return wrong_type("a number", why);
        if (json_is_integer(value) && imaxabs(json_integer_value(value) / 10) >= EXACT_REAL / 10) {
            why = "must have at most 15 digits";
            return FAULT_INVALID_VALUE;
        }
        return decimal_check(limits, json_number_value(value), why);
    }
    if (type == OX_TR_JSON)
        return json_is_object(value) || json_is_array(value) ? 0 : wrong_type("a JSON object or array", why);
    if (!json_is_string(value)) return wrong_type("a string", why);
    std::string_view text(json_string_value(value), json_string_length(value));
    if (text.empty() && limits.takes_empty) return 0;
    if (limits.list) return list_check(impl, limits, node, text, why);
    return text_check(impl, limits, node, text, why);
}

json_t* value_normal(const Schema* parameter, json_t* value) {
    if (parameter->limits->type == OX_TR_DECIMAL && json_is_integer(value))
        return json_real(static_cast<double>(json_integer_value(value)));
    if (parameter->limits->type != OX_TR_PATH_REF || !json_string_length(value)) return json_incref(value);
    // References are kept in one spelling, without the final "." and without blanks, so that they compare.
    std::string_view text(json_string_value(value), json_string_length(value));
    std::string paths;
    bool first = true;
    for (std::string_view item : parameter->limits->list ? list_items(text) : std::vector{text}) {
        if (item.size() > 1 && item.back() == '.') item.remove_suffix(1);
        if (!first) paths += ',';
        paths += item;
        first = false;
    }
    return paths == text ? json_incref(value) : json_stringn(paths.data(), paths.size());
}

int value_from_text(const Schema* parameter, const char* text, JsonRef& value, std::string& why) {
    const Limits& limits = *parameter->limits;
    int type = limits.list ? OX_TR_LIST : limits.type;
    bool blank = !*text || isspace(static_cast<unsigned char>(*text));
    char* end = nullptr;
    errno = 0;
    if (is_integer_type(type)) {
        json_int_t number = strtoll(text, &end, 0);
        if (!blank && !*end && errno == ERANGE) return integer_beyond(limits, why);
        if (!blank && !*end) value.reset(json_integer(number));
        return value ? 0 : wrong_type("an integer", why);
    }
    if (type == OX_TR_BOOLEAN || type == OX_TR_FLAG) {
        if (strcasecmp(text, "true") == 0 || strcmp(text, "1") == 0) value.reset(json_true());
        if (strcasecmp(text, "false") == 0 || strcmp(text, "0") == 0) value.reset(json_false());
        return value ? 0 : wrong_type("true or false", why);
    }
    if (type == OX_TR_DECIMAL) {
        double number = strtod(text, &end);
        if (!blank && !*end && !errno) value.reset(json_real(number));
        return value ? 0 : wrong_type("a number", why);
    }
    if (type == OX_TR_JSON) {
        value.reset(json_loads(text, 0, nullptr));
        return value ? 0 : wrong_type("a JSON object or array", why);
    }
    value.reset(json_string(text));
    return value ? 0 : wrong_type("a text", why);
}

}  // namespace obxd
