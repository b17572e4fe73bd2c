#include "limits.hpp"

#include <algorithm>

namespace obxd {

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

bool choices_hold(const Limits& limits, const json_t* value) {
    for (size_t i = 0; i < json_array_size(limits.choices); i++)
        if (json_equal(json_array_get(limits.choices, i), value)) return true;
    return false;
}

std::string choices_text(const Limits& limits) {
    std::string text;
    size_t count = json_array_size(limits.choices);
    for (size_t i = 0; i < count; i++) {
        if (i == 12 && count > 14) return text + ", ...";
        if (i) text += ", ";
        const json_t* choice = json_array_get(limits.choices, i);
        CharsRef dump(json_is_string(choice) ? nullptr : json_dumps(choice, JSON_ENCODE_ANY));
        text += dump ? dump.get() : json_string_value(choice);
    }
    return text;
}

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

std::string span_text(const Span& span) {
    if (!span.has_low) return "at most " + std::to_string(span.high);
    if (!span.has_high) return "at least " + std::to_string(span.low);
    if (span.low == span.high) return std::to_string(span.low);
    return std::to_string(span.low) + " to " + std::to_string(span.high);
}

bool regex_compile(const char* pattern, RegexRef& regex) {
    auto* compiled = new regex_t;
    std::string anchored = std::string("^(") + pattern + ")$";
    if (regcomp(compiled, anchored.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
        delete compiled;  // nothing was made that regfree could release
        return false;
    }
    regex.reset(compiled);
    return true;
}

std::vector<std::string> targets_split(std::string_view text) {
    std::vector<std::string> targets;
    while (!text.empty()) {
        size_t comma = text.find(',');
        std::string_view part = text.substr(0, comma);
        while (!part.empty() && part.front() == ' ') part.remove_prefix(1);
        while (!part.empty() && (part.back() == '.' || part.back() == ' ')) part.remove_suffix(1);
        if (!part.empty()) targets.emplace_back(part);
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return targets;
}

}  // namespace obxd
