// Whether a value fits its parameter.

#include <ctype.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "impl.hpp"
#include "value_text.hpp"

namespace obxd {
namespace {

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

/// The range of the type itself, narrowed by the parameter's own bounds.
int integer_check(const Limits& limits, json_int_t number, std::string& why) {
    json_int_t low = limits.has_min ? limits.min : INT64_MIN;
    json_int_t high = limits.has_max ? limits.max : INT64_MAX;
    bool has_low = limits.has_min, has_high = limits.has_max;
    auto narrow = [&](json_int_t type_low, json_int_t type_high) {
        if (low < type_low) low = type_low;
        if (high > type_high) high = type_high;
        has_low = true;
        has_high |= type_high != INT64_MAX;
    };
    if (limits.type == OX_TR_INT)
        narrow(INT32_MIN, INT32_MAX);
    else if (limits.type == OX_TR_UNSIGNED_INT)
        narrow(0, UINT32_MAX);
    else if (limits.type == OX_TR_UNSIGNED_LONG)
        narrow(0, INT64_MAX);
    if (number >= low && number <= high) return 0;
    why = "must be " + span_text(has_low, low, has_high, high);
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
    if (!text.empty()) {
        std::string_view rest = choices;
        while (!rest.empty()) {
            size_t comma = rest.find(',');
            if (rest.substr(0, comma) == text) return 0;
            rest.remove_prefix(comma == std::string_view::npos ? rest.size() : comma + 1);
        }
    }
    why = std::string("must be one of ") + choices;
    return FAULT_INVALID_VALUE;
}

int list_check(Impl& impl, const Limits& limits, const Node* node, std::string_view text, std::string& why) {
    json_int_t count = 0;
    while (!text.empty() || count > 0) {
        size_t comma = text.find(',');
        std::string_view item = text.substr(0, comma);
        count++;
        int code = 0;
        if (is_integer_type(limits.type)) {
            errno = 0;
            char* end;
            std::string copy(item);
            json_int_t number = strtoll(copy.c_str(), &end, 10);
            bool whole = !copy.empty() && !*end && !isspace(static_cast<unsigned char>(copy[0])) && !errno;
            if (!whole) why = "holds what is no integer: " + copy;
            code = whole ? integer_check(limits, number, why) : static_cast<int>(FAULT_INVALID_VALUE);
        } else {
            code = text_check(impl, limits, node, item, why);
        }
        if (code) return code;
        if (comma == std::string_view::npos) break;
        text.remove_prefix(comma + 1);
    }
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
        double number = json_number_value(value);
        bool low = limits.has_min && number < static_cast<double>(limits.min);
        bool high = limits.has_max && number > static_cast<double>(limits.max);
        if (!low && !high) return 0;
        why = "must be " + span_text(limits.has_min, limits.min, limits.has_max, limits.max);
        return FAULT_INVALID_VALUE;
    }
    if (type == OX_TR_JSON)
        return json_is_object(value) || json_is_array(value) ? 0 : wrong_type("a JSON object or array", why);
    if (!json_is_string(value)) return wrong_type("a string", why);
    std::string_view text(json_string_value(value), json_string_length(value));
    if (limits.list) return list_check(impl, limits, node, text, why);
    return text_check(impl, limits, node, text, why);
}

json_t* value_normal(const Schema* parameter, json_t* value) {
    if (parameter->limits->type == OX_TR_DECIMAL && json_is_integer(value))
        return json_real(static_cast<double>(json_integer_value(value)));
    if (parameter->limits->type == OX_TR_PATH_REF && !parameter->limits->list &&
        json_string_length(value) > 1) {
        // References are kept in one spelling, without the final ".", so that they compare.
        std::string_view text(json_string_value(value), json_string_length(value));
        if (text.back() == '.') return json_stringn(text.data(), text.size() - 1);
    }
    return json_incref(value);
}

json_t* value_from_text(const Schema* parameter, const char* text, std::string& why) {
    const Limits& limits = *parameter->limits;
    int type = limits.list ? OX_TR_LIST : limits.type;
    bool blank = !*text || isspace(static_cast<unsigned char>(*text));
    char* end = nullptr;
    errno = 0;
    if (is_integer_type(type)) {
        json_int_t number = strtoll(text, &end, 0);
        if (!blank && !*end && !errno) return json_integer(number);
        wrong_type("an integer", why);
    } else if (type == OX_TR_BOOLEAN || type == OX_TR_FLAG) {
        if (strcasecmp(text, "true") == 0 || strcmp(text, "1") == 0) return json_true();
        if (strcasecmp(text, "false") == 0 || strcmp(text, "0") == 0) return json_false();
        wrong_type("true or false", why);
    } else if (type == OX_TR_DECIMAL) {
        double number = strtod(text, &end);
        json_t* value = !blank && !*end && !errno ? json_real(number) : nullptr;
        if (value) return value;
        wrong_type("a number", why);
    } else if (type == OX_TR_JSON) {
        if (json_t* value = json_loads(text, 0, nullptr)) return value;
        wrong_type("a JSON object or array", why);
    } else {
        return json_string(text);
    }
    return nullptr;
}

}  // namespace obxd
