#include "commands/words.hpp"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "ox_str.hpp"
#include "ox_string.hpp"

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

/// Null also for what is beyond the integers of JSON: it would arrive as another number.
json_t* integer_from_text(const char* text) {
    int64_t number = 0;
    if (ox_string_strntol(text, static_cast<int>(strlen(text)), 0, &number) != 0) return nullptr;
    return json_integer(number);
}

}  // namespace

const char* word_at(const json_t* args, size_t index) {
    return json_string_value(json_array_get(args, index));
}

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

bool assignment_split(const char* command, const char* word, Assignment* assignment) {
    assignment->word.reset(ox_str_init_chars(word));
    char* path = ox_dynarray_get_unsafe(assignment->word);
    char* equals = strchr(path, '=');
    if (!equals) {
        printf("%s: %s: no value.\n", command, word);
        return false;
    }
    *equals = '\0';
    assignment->path = path;
    assignment->text = equals + 1;
    printf("key = %s, value = %s\n", assignment->path, assignment->text);
    return true;
}

json_t* assignment_value(const char* command, const Assignment& assignment, const json_t* fallback) {
    if (!fallback) {
        printf("%s: %s: is an object or doesn't have default value.\n", command, assignment.path);
        return nullptr;
    }
    json_t* value = value_from_text(assignment.text, json_typeof(fallback));
    if (!value) printf("%s: %s: invalid value %s.\n", command, assignment.path, assignment.text);
    return value;
}
