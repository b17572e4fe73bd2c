// set: parameter values, all assignments of a command in one request.
#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "commands/commands.hpp"
#include "model/path.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

json_t* real_from_text(const char* text) {
    double number = 0;
    if (ox_string_strntod(text, static_cast<int>(strlen(text)), &number) < 0) return nullptr;
    return json_real(number);
}

json_t* boolean_from_text(const char* text) {
    if (strcasecmp(text, "true") == 0) return json_true();
    if (strcasecmp(text, "false") == 0) return json_false();
    return nullptr;
}

/// Unsigned numbers beyond the signed range keep their 64 bits.
json_t* integer_from_text(const char* text) {
    int length = static_cast<int>(strlen(text));
    int64_t number = 0;
    if (ox_string_strntol(text, length, 0, &number) == 0) return json_integer(number);
    uint64_t large = 0;
    if (ox_string_strntoul(text, length, 0, &large) < 0) return nullptr;
    return json_integer(static_cast<json_int_t>(large));
}

json_t* assignment(const char* name, json_t* value) {
    return json_pack("{s : s, s : o}", "Name", name, "Value", value);
}

/// An assignment to a node of the model: a new object, or null after saying why not.
json_t* model_assignment(const char* command, const char* key, const char* text) {
    ScopedPath p;
    if (path_resolve(&p, key) < 0) {
        printf("%s: %s: no such node.\n", command, key);
        return nullptr;
    }
    const json_t* fallback = node_is_parameter(p.node) ? ox_tr_dm_node_default_get(p.node) : nullptr;
    if (!fallback) {
        printf("%s: %s: is an object or doesn't have default value.\n", command, key);
        return nullptr;
    }
    json_t* value = value_from_text(text, json_typeof(fallback));
    if (!value) {
        printf("%s: %s: invalid value %s.\n", command, key, text);
        return nullptr;
    }
    return assignment(p.path, value);
}

/// Without a model the value is written as JSON; what is none is left out silently.
json_t* raw_assignment(const char* key, const char* text) {
    json_t* value = json_loads(text, JSON_DECODE_ANY, nullptr);
    return value ? assignment(key, value) : nullptr;
}

json_t* parse_assignment(const char* command, const char* word) {
    StrRef buffer(ox_str_init());
    ox_str_replace_text(buffer, word);
    char* key = ox_dynarray_get_unsafe(buffer);
    char* equals = strchr(key, '=');
    if (!equals) {
        printf("%s: %s: no value.\n", command, word);
        return nullptr;
    }
    *equals = '\0';
    const char* text = equals + 1;
    printf("key = %s, value = %s\n", key, text);
    return current_path.node ? model_assignment(command, key, text) : raw_assignment(key, text);
}

/// The assignments that are valid: a new array, or null when there are none.
json_t* parse_assignments(const char* command, json_t* args) {
    JsonRef list(json_array());
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) {
        const char* word = json_string_value(arg);
        if (!word) break;
        json_t* pair = parse_assignment(command, word);
        if (pair) json_array_append_new(list, pair);
    }
    if (json_array_size(list) > 0) return list.release();
    printf("%s: no argument.\n", command);
    return nullptr;
}

}  // namespace

json_t* value_from_text(const char* text, json_type type) {
    switch (type) {
        case JSON_REAL:
            return real_from_text(text);
        case JSON_TRUE:
        case JSON_FALSE:
            return boolean_from_text(text);
        case JSON_STRING:
            return json_string(text);
        case JSON_INTEGER:
            return integer_from_text(text);
        case JSON_OBJECT:
        case JSON_ARRAY:
        case JSON_NULL:
            break;
    }
    return nullptr;
}

int set_command(const char* name, json_t* args) {
    JsonRef list(parse_assignments(name, args));
    if (!list) return -1;
    MsgRef message;
    if (strcmp(name, "set") == 0) {
        message.reset(ox_jrpcmsg_cmd_set_parameter_values_new(json_incref(list)));
    } else {
        json_t* params = json_pack("{s:O}", "ParameterList", list.get());
        message.reset(ox_jrpcmsg_create_new("RawSetParameterValues", params));
    }
    request_exec(message, -1);
    response_report(message);
    return 0;
}
