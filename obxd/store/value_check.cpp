#include "value_check.hpp"

#include <ctype.h>
#include <errno.h>
#include <inttypes.h>
#include <math.h>
#include <stdlib.h>

#include "answers.hpp"
#include "store/live.hpp"
#include "store/pattern.hpp"
#include "store/value_text.hpp"

namespace obxd {
namespace {

constexpr json_int_t EXACT_REAL = 1000000000000000;  // from here on a real is written as another number

bool among(const json_t* choices, std::string_view text) {
    for (size_t i = 0; i < json_array_size(choices); i++) {
        const json_t* choice = json_array_get(choices, i);
        if (json_is_string(choice) &&
            text == std::string_view(json_string_value(choice), json_string_length(choice)))
            return true;
    }
    return false;
}

int integer_check(const Limits& limits, json_int_t number, std::string& why) {
    Span span = integer_span(limits);
    if (number >= span.low && number <= span.high) return 0;
    why = "must be " + span_text(span);
    return FAULT_INVALID_VALUE;
}

int decimal_check(const Limits& limits, double number, std::string& why) {
    bool low = limits.has_min && number < static_cast<double>(limits.min);
    bool high = limits.has_max && number > static_cast<double>(limits.max);
    if (!low && !high) return 0;
    why = "must be " + span_text({limits.min, limits.max, limits.has_min, limits.has_max});
    return FAULT_INVALID_VALUE;
}

/// The items of the list parameter that another one takes its choices from, or null.
const char* choices_from(Model& model, const std::string& from, const Node* node) {
    Place place;
    if (from.find('.') != std::string::npos) {
        if (!parameter_find(model, from, place)) return nullptr;
    } else {
        place = {schema_child(node->schema, from), const_cast<Node*>(node)};
        if (!place.schema || place.schema->kind != Schema::PARAMETER) return nullptr;
    }
    return json_string_value(value_read(place.node, place.schema, nullptr));
}

/// Whether a reference to an object of the model may name that one: an instance of it, or something of that
/// very name that has none.
bool target_allows(const std::string& target, std::string_view path, const Place& place) {
    size_t target_left, path_left;
    return !place.is_table() && pattern_fits(target, path, target_left, path_left) && target_left == 0 &&
           path_left == (place.is_instance() ? 1 : 0);
}

int reference_check(Model& model, const Limits& limits, std::string_view path, std::string& why) {
    if (path.empty()) return 0;
    Place place;
    if (!place_find(model, path, place) || place.is_method()) {
        why = "names nothing that exists: " + std::string(path);
        return FAULT_INVALID_VALUE;
    }
    if (limits.targets.empty()) return 0;
    std::string allowed;
    for (const std::string& wanted : limits.targets) {
        if (target_allows(wanted, path, place)) return 0;
        allowed += (allowed.empty() ? "" : " or ") + wanted;
    }
    why = "must name an instance of " + allowed;
    return FAULT_INVALID_VALUE;
}

/// One text: the value of a textual parameter, or an item of a list.
int text_check(Model& model, const Limits& limits, const Node* node, std::string_view text,
               std::string& why) {
    if (limits.choices) {
        if (among(limits.choices, text)) return 0;
        why = "must be one of " + choices_text(limits);
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
        why =
            "must be " +
            span_text({limits.min_length, limits.max_length, limits.min_length > 0, limits.max_length >= 0}) +
            unit + " long";
        return FAULT_INVALID_VALUE;
    }
    if (limits.regex && regexec(limits.regex.get(), std::string(text).c_str(), 0, nullptr, 0) != 0) {
        why = "does not match the pattern";
        return FAULT_INVALID_VALUE;
    }
    if (!node) return 0;
    if (limits.type == OX_TR_PATH_REF) return reference_check(model, limits, text, why);
    if (limits.from.empty()) return 0;
    const char* choices = choices_from(model, limits.from, node);
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
int item_check(Model& model, const Limits& limits, const Node* node, std::string_view item,
               std::string& why) {
    std::string text(item);
    if (type_is_integer(limits.type)) return integer_item_check(limits, text, why);
    if (type_is_boolean(limits.type)) {
        if (text == "true" || text == "false" || text == "1" || text == "0") return 0;
        why = "holds what is neither true nor false: " + text;
        return FAULT_INVALID_VALUE;
    }
    if (limits.type != OX_TR_DECIMAL) return text_check(model, limits, node, item, why);
    char* end = nullptr;
    double number = strtod(text.c_str(), &end);
    bool whole = !text.empty() && !*end && isfinite(number) && !isspace(static_cast<unsigned char>(text[0]));
    if (whole) return decimal_check(limits, number, why);
    why = "holds what is no number: " + text;
    return FAULT_INVALID_VALUE;
}

int list_check(Model& model, const Limits& limits, const Node* node, std::string_view text,
               std::string& why) {
    std::vector<std::string_view> items = list_items(text);
    for (std::string_view item : items) {
        int code = item_check(model, limits, node, item, why);
        if (code) return code;
    }
    json_int_t count = static_cast<json_int_t>(items.size());
    if (count >= limits.min_count && (limits.max_count < 0 || count <= limits.max_count)) return 0;
    why = "must have " +
          span_text({limits.min_count, limits.max_count, limits.min_count > 0, limits.max_count >= 0}) +
          " items";
    return FAULT_INVALID_VALUE;
}

int wrong_type(int type, std::string& why) {
    why = std::string("must be ") + type_text(type);
    return FAULT_INVALID_TYPE;
}

}  // namespace

int value_check(Model& model, const Schema* parameter, const Node* node, const json_t* value,
                std::string& why) {
    const Limits& limits = *parameter->limits;
    int type = limits_type(limits);
    if (type_is_integer(type)) {
        if (!json_is_integer(value)) return wrong_type(type, why);
        int code = integer_check(limits, json_integer_value(value), why);
        if (code || !limits.choices || choices_hold(limits, value)) return code;
        why = "must be one of " + choices_text(limits);
        return FAULT_INVALID_VALUE;
    }
    if (type_is_boolean(type)) return json_is_boolean(value) ? 0 : wrong_type(type, why);
    if (type == OX_TR_DECIMAL) {
        if (!json_is_number(value)) return wrong_type(type, why);
        if (json_is_integer(value) && imaxabs(json_integer_value(value) / 10) >= EXACT_REAL / 10) {
            why = "must have at most 15 digits";
            return FAULT_INVALID_VALUE;
        }
        return decimal_check(limits, json_number_value(value), why);
    }
    if (type == OX_TR_JSON) return json_is_object(value) || json_is_array(value) ? 0 : wrong_type(type, why);
    if (!json_is_string(value)) return wrong_type(type, why);
    std::string_view text(json_string_value(value), json_string_length(value));
    if (text.empty() && limits.takes_empty) return 0;
    if (limits.list) return list_check(model, limits, node, text, why);
    return text_check(model, limits, node, text, why);
}

}  // namespace obxd
