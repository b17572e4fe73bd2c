#include "value_form.hpp"

#include <ctype.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "answers.hpp"
#include "store/value_text.hpp"

namespace obxd {
namespace {

/// What an integer written as text is told that JSON has no room for.
int integer_beyond(const Limits& limits, std::string& why) {
    why = "must be " + ranges_text(limits, true);
    return FAULT_INVALID_VALUE;
}

}  // namespace

json_t* value_empty(int type) {
    switch (type) {
        case OX_TR_BOOLEAN:
        case OX_TR_FLAG:
            return json_false();
        case OX_TR_INT:
        case OX_TR_UNSIGNED_INT:
        case OX_TR_LONG:
        case OX_TR_UNSIGNED_LONG:
            return json_integer(0);
        case OX_TR_DECIMAL:
            return json_real(0.0);
        case OX_TR_JSON:
            return json_object();
        case OX_TR_DATE_TIME:
            return json_string("0001-01-01T00:00:00Z");
        default:
            return json_string("");
    }
}

json_t* value_normal(const Schema* parameter, json_t* value) {
    if (parameter->limits->type == OX_TR_DECIMAL && json_is_integer(value))
        return json_real(static_cast<double>(json_integer_value(value)));
    if (parameter->limits->type != OX_TR_PATH_REF || !json_string_length(value)) return json_incref(value);
    // References are kept in one spelling, without any final "." and without blanks, so that they compare.
    std::string_view text(json_string_value(value), json_string_length(value));
    std::string paths;
    bool first = true;
    for (std::string_view item : parameter->limits->list ? list_items(text) : std::vector{text}) {
        size_t last = item.find_last_not_of(". \t\r\n");
        item = item.substr(0, last == item.npos ? 1 : last + 1);
        if (!first) paths += ',';
        paths += item;
        first = false;
    }
    return paths == text ? json_incref(value) : json_stringn(paths.data(), paths.size());
}

int value_from_text(const Schema* parameter, const char* text, JsonRef& value, std::string& why) {
    const Limits& limits = *parameter->limits;
    int type = limits_type(limits);
    auto wrong = [&](const char* what) {
        why = std::string("must be ") + what;
        return FAULT_INVALID_TYPE;
    };
    bool blank = !*text || isspace(static_cast<unsigned char>(*text));
    char* end = nullptr;
    errno = 0;
    if (type_is_integer(type)) {
        json_int_t number = strtoll(text, &end, 0);
        if (!blank && !*end && errno == ERANGE) return integer_beyond(limits, why);
        if (!blank && !*end) value.reset(json_integer(number));
        return value ? 0 : wrong(type_text(type));
    }
    if (type_is_boolean(type)) {
        if (strcasecmp(text, "true") == 0 || strcmp(text, "1") == 0) value.reset(json_true());
        if (strcasecmp(text, "false") == 0 || strcmp(text, "0") == 0) value.reset(json_false());
        return value ? 0 : wrong(type_text(type));
    }
    if (type == OX_TR_DECIMAL) {
        double number = strtod(text, &end);
        if (!blank && !*end && !errno) value.reset(json_real(number));
        return value ? 0 : wrong(type_text(type));
    }
    if (type == OX_TR_JSON) {
        value.reset(json_loads(text, 0, nullptr));
        return value ? 0 : wrong(type_text(type));
    }
    value.reset(json_string(text));
    return value ? 0 : wrong("a text");
}

}  // namespace obxd
