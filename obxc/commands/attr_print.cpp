#include "commands/attr_print.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/print.hpp"
#include "model/value_format.hpp"
#include "ox_raii.hpp"
#include "session/interrupt.hpp"

namespace {

enum { VALUE_COLUMN = 20 };

/// The attributes as they are unpacked, all borrowed and null where absent.
struct Attributes {
    const char* type;
    json_t *constant, *handlers, *enumeration, *fallback, *runtime, *unique, *multi, *ordered;
    json_t *min_length, *max_length, *min_inclusive, *max_inclusive, *min_count, *max_count;
    json_t *off_value, *regex, *foreign_key, *get_before_set, *ignore_handler_set;
    json_t *mappings, *relations, *async, *base;
};

/// An error leaves what was not reached absent.
Attributes unpack(json_t* json) {
    Attributes a = {};
    json_error_t error;
    int rc = json_unpack_ex(
        json, &error, 0,
        "{s : s, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, "
        "s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, s ? o, }",
        "type", &a.type, "const", &a.constant, "handlers", &a.handlers, "enum", &a.enumeration, "default",
        &a.fallback, "runtime", &a.runtime, "unique", &a.unique, "multi", &a.multi, "ordered", &a.ordered,
        "minLength", &a.min_length, "maxLength", &a.max_length, "minInclusive", &a.min_inclusive,
        "maxInclusive", &a.max_inclusive, "minCount", &a.min_count, "maxCount", &a.max_count, "offValue",
        &a.off_value, "regex", &a.regex, "foreign_key", &a.foreign_key, "get_before_set", &a.get_before_set,
        "ignore_handler_set", &a.ignore_handler_set, "mappings", &a.mappings, "relations", &a.relations,
        "async", &a.async, "base", &a.base);
    if (rc != 0) printf("attr parse error on %d:%d : %s\n", error.line, error.column, error.text);
    return a;
}

const char* base_name(const json_t* base) {
    switch (json_integer_value(base)) {
        case 2:
            return "binary";
        case 8:
            return "octal";
        case 16:
            return "hex";
        default:
            return "decimal";
    }
}

void print_handlers(const json_t* handlers) {
    static const char* const actions[] = {"get", "set", "add", "del", "execute", "redraw"};
    size_t index;
    json_t* element;
    json_array_foreach(handlers, index, element) {
        json_int_t action = json_integer_value(json_object_get(element, "action"));
        const char* handler = json_string_value(json_object_get(element, "handler"));
        if (!handler || action < 0 || action > 5) continue;
        printf("Handler %s:        ", actions[action]);
        print_text(handler);
        putc('\n', stdout);
    }
}

/// Verdict 4 has no word of its own. It is shown by one of the names of number bases, as it always was:
/// scripts compare the listing.
const char* verdict_word(json_int_t verdict) {
    static const char* const words[] = {"deny", "cascade", "clear", "continue", "binary"};
    return verdict >= 0 && verdict <= 4 ? words[verdict] : "unknown";
}

void print_relations(const json_t* relations) {
    if (json_array_size(relations) == 0) return;
    puts("Relations: ");
    size_t index;
    json_t* element;
    json_array_foreach(relations, index, element) {
        json_int_t verdict = json_integer_value(json_object_get(element, "verdict"));
        printf("  %s before '", verdict_word(verdict));
        print_text(json_string_value(json_object_get(element, "match")));
        fputs("' delete\n", stdout);
    }
}

/// A text on one row: its paragraphs stand one behind the other.
json_t* one_row(const json_t* text) {
    StrRef row(ox_str_init());
    for (const char* at = json_string_value(text); *at != '\0';) {
        size_t word = strcspn(at, " \t\r\n");
        if (ox_str_length(row) > 0) ox_str_add(row, " ");
        ox_str_add_n(row, at, word);
        at += word + strspn(at + word, " \t\r\n");
    }
    return json_string(ox_dynarray_get(row));
}

/// What the daemon tells on request.
void print_details(const json_t* attributes, const json_t* schema_node) {
    static const struct {
        const char* label;
        const char* member;
    } lines[] = {
        {"Units", "units"}, {"Since", "since"}, {"Status", "status"}, {"Description", "description"}};
    for (const auto& line : lines) {
        json_t* value = json_object_get(attributes, line.member);
        if (!json_is_string(value)) continue;
        JsonRef row(one_row(value));
        attr_line(line.label, row, schema_node);
    }
}

void optional_line(const char* label, const json_t* value, const json_t* schema_node) {
    if (value) attr_line(label, value, schema_node);
}

void print_limits(const Attributes* a, const json_t* schema_node) {
    optional_line("Minimal length", a->min_length, schema_node);
    optional_line("Maximum length", a->max_length, schema_node);
    optional_line("Minimal inclusive", a->min_inclusive, schema_node);
    optional_line("Maximum inclusive", a->max_inclusive, schema_node);
    optional_line("Minimal count", a->min_count, schema_node);
    optional_line("Maximum count", a->max_count, schema_node);
}

void print_marks(const Attributes* a, const json_t* schema_node) {
    optional_line("Ordered", a->ordered, schema_node);
    optional_line("Runtime", a->runtime, schema_node);
    optional_line("Unique", a->unique, schema_node);
    optional_line("Multi-instance", a->multi, schema_node);
    optional_line("Foreign key", a->foreign_key, schema_node);
    optional_line("GET before SET", a->get_before_set, schema_node);
    optional_line("Ignore SET handler", a->ignore_handler_set, schema_node);
    optional_line("Async", a->async, schema_node);
}

}  // namespace

void attr_line(const char* label, const json_t* value, const json_t* schema_node) {
    printf("%s%-*s", label, VALUE_COLUMN - static_cast<int>(strlen(label)), ":");
    value_format(value, schema_node);
    putc('\n', stdout);
}

void attr_list(const json_t* array, const char* label, const json_t* schema_node) {
    if (json_array_size(array) == 0) return;
    printf("%s: \n", label);
    size_t index;
    json_t* element;
    json_array_foreach(array, index, element) {
        fputs("  ", stdout);
        value_format(element, schema_node);
        putc('\n', stdout);
        interrupt_point();
    }
}

void attr_print(const char* path, const json_t* schema_node, json_t* attributes) {
    Attributes a = unpack(attributes);
    fputs("Canonical path:     :", stdout);
    print_text(path);
    fputs("\nType:               ", stdout);
    print_text(a.type);
    putc('\n', stdout);
    if (a.base) printf("Base:               %s\n", base_name(a.base));
    optional_line("Const", a.constant, schema_node);
    optional_line("Default", a.fallback, schema_node);
    attr_list(a.enumeration, "Enum", schema_node);
    print_marks(&a, schema_node);
    print_limits(&a, schema_node);
    print_handlers(a.handlers);
    optional_line("OFF value", a.off_value, schema_node);
    optional_line("Regex", a.regex, schema_node);
    attr_list(a.mappings, "Mappings", schema_node);
    print_relations(a.relations);
    print_details(attributes, schema_node);
}
