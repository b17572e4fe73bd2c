#include "commands/cat.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/print.hpp"
#include "commands/value_request.hpp"
#include "complete/paths.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "model/value_format.hpp"
#include "ox_colors.hpp"
#include "ox_memory.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"
#include "session/interrupt.hpp"
#include "session/prompt.hpp"
#include "session/request.hpp"

namespace {

enum { QUERY_SIZE = sizeof(NodePath::path) + 1 };

/// The schema nodes of the names of an answer. Names that follow each other mostly share their parent, so
/// the parent found last is kept.
struct SchemaCursor {
    json_t* parent = nullptr;
    CharsRef name;  ///< of the parent, with its final "."
    size_t length = 0;
};

json_t* schema_of(SchemaCursor* cursor, const char* name) {
    std::string_view leaf = ox_tr_path_leaf(name);
    size_t length = static_cast<size_t>(leaf.data() - name);
    if (!dm_root || length == 0) return ox_tr_node_find(dm_root, name);
    if (length != cursor->length || memcmp(cursor->name, name, length) != 0) {
        cursor->name.reset(ox_memory_text_n(name, length));
        cursor->length = cursor->name ? length : 0;
        cursor->parent = cursor->name ? ox_tr_node_find(dm_root, cursor->name) : nullptr;
    }
    return cursor->parent ? ox_tr_node_find(cursor->parent, leaf.data()) : nullptr;
}

bool is_pseudo_parameter(const char* path) {
    std::string_view leaf = ox_tr_path_leaf(path);
    return leaf == OX_TR_MAX_INSTANCE || leaf == OX_TR_ORDER;
}

/// The text that asks for the node: parameters by their path, objects with a final ".".
void query_text(const NodePath* p, char out[QUERY_SIZE]) {
    bool parameter = !path_is_root(p) && node_is_parameter(p->node);
    bool dotted = !parameter && !is_pseudo_parameter(p->path) && !ox_tr_path_is_partial(p->path);
    snprintf(out, QUERY_SIZE, "%s%s", p->path, dotted ? "." : "");
}

/// A name of an answer without the prefix that all names of the listing share.
std::string_view shown_name(const ListedValue& value, const char* query, size_t prefix) {
    bool cut = value.name_length >= prefix && memcmp(value.name, query, prefix) == 0;
    return {value.name + (cut ? prefix : 0), value.name_length - (cut ? prefix : 0)};
}

size_t names_width(const ValueList* values, const char* query, size_t prefix) {
    size_t width = 0;
    ValueWalk walk(values);
    for (ListedValue value; value_walk_next(&walk, &value);) {
        std::string_view shown = shown_name(value, query, prefix);
        size_t size = ox_out_size(shown.data(), static_cast<long>(shown.size()));
        if (size > width) width = size;
    }
    return width;
}

void print_listed(const ListedValue& value, SchemaCursor* cursor) {
    fwrite(" = ", 1, 3, stdout);
    ox_colors_set_hsv2(colour_scheme[COLOUR_AUTOCOMPLETE]);
    switch (value.kind) {
        case VALUE_NONE:
            break;
        case VALUE_STRING:
            value_format_string(value.bytes, value.size);
            break;
        case VALUE_INTEGER:
            // Only integers have a notation that depends on the schema.
            value_format_integer(value.integer, schema_of(cursor, value.name));
            break;
        case VALUE_ENCODED:
            value_format_encoded(value.bytes, value.size);
            break;
    }
    ox_colors_reset();
}

void print_values(const ValueList* values, const char* query) {
    size_t prefix = strcspn(query, "#");
    size_t width = names_width(values, query, prefix);
    SchemaCursor cursor;
    ValueWalk walk(values);
    for (ListedValue value; value_walk_next(&walk, &value);) {
        std::string_view shown = shown_name(value, query, prefix);
        print_padded(shown.data(), shown.size(), width);
        if (value.kind != VALUE_NONE) print_listed(value, &cursor);
        putc('\n', stdout);
        interrupt_point();
    }
}

/// Says what is missing from a listing because no answer holds it.
void print_refused(const char* command, const json_t* refused) {
    size_t index;
    json_t* name;
    json_array_foreach(refused, index, name) {
        printf("%s: ", command);
        ox_out_text(json_string_value(name));
        puts(": too large for an answer");
    }
}

void read_values(const char* command, const char* path) {
    ScopedPath p;
    if (p.node && path_resolve(&p, path) < 0) {
        printf("%s: %s: no such node.\n", command, path);
        return;
    }
    char text[QUERY_SIZE];
    const char* query = path;
    if (p.node) {
        query_text(&p, text);
        query = text;
    }
    JsonRef name(json_string(query));
    if (!query || !name) {
        printf("%s: no argument.\n", command);
        return;
    }
    ValueRequest request = {.query = query, .ignore_access_errors = p.via_template != 0, .timeout_ms = -1};
    values_request(&request);
    if (request.failure) {
        response_report(request.failure);
        return;
    }
    print_values(&request.values, query);
    print_refused(command, request.refused);
}

}  // namespace

int cat_command(const char* name, json_t* args) {
    if (json_array_size(args) == 0) {
        read_values(name, ".");
        return 0;
    }
    bool headings = json_array_size(args) > 1;
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) {
        const char* path = json_string_value(arg);
        if (headings) printf("%s:\n", path ? path : "");
        read_values(name, path);
    }
    return 0;
}

const Offer cat_offers[] = {{1, LAST_WORD, offer_paths, 0, nullptr}, {}};
