#include "commands/cat.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/print.hpp"
#include "complete/paths.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"
#include "session/interrupt.hpp"
#include "session/request.hpp"

namespace {

enum { QUERY_SIZE = sizeof(NodePath::path) + 1 };

/// The schema nodes of the names of an answer. Names that follow each other mostly share their parent, so
/// the parent found last is kept.
struct SchemaCursor {
    json_t* parent = nullptr;
    const char* name = nullptr;  ///< a name below `parent`
    size_t parent_length = 0;    ///< bytes of it that name the parent
};

json_t* schema_of(SchemaCursor* cursor, const char* name) {
    std::string_view leaf = ox_tr_path_leaf(name);
    size_t length = static_cast<size_t>(leaf.data() - name);
    if (!dm_root || length == 0) return ox_tr_node_find(dm_root, name);
    if (length != cursor->parent_length || memcmp(cursor->name, name, length) != 0) {
        CharsRef parent(strndup(name, length));
        if (!parent) return nullptr;
        *cursor = {ox_tr_node_find(dm_root, parent), name, length};
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
struct ShownName {
    const char* text;
    size_t length;
};

ShownName shown_name(const json_t* name, const char* query, size_t prefix) {
    const char* text = json_string_value(name);
    size_t length = json_string_length(name);
    size_t cut = length >= prefix && memcmp(text, query, prefix) == 0 ? prefix : 0;
    return {text + cut, length - cut};
}

size_t names_width(const json_t* list, const char* query, size_t prefix) {
    size_t width = 0;
    for (ox_tr_element element : ox_tr_elements(list)) {
        ShownName shown = shown_name(json_object_get(element.json, OX_TR_NAME), query, prefix);
        size_t size = ox_out_size(shown.text, static_cast<long>(shown.length));
        if (size > width) width = size;
    }
    return width;
}

void print_values(const json_t* list, const char* query) {
    size_t prefix = strcspn(query, "#");
    size_t width = names_width(list, query, prefix);
    SchemaCursor cursor;
    for (ox_tr_element element : ox_tr_elements(list)) {
        ShownName shown = shown_name(json_object_get(element.json, OX_TR_NAME), query, prefix);
        print_padded(shown.text, shown.length, width);
        const json_t* value = json_object_get(element.json, OX_TR_VALUE);
        if (value && !json_is_object(value)) {
            // Only integers have a notation that depends on the schema.
            bool typed = json_is_integer(value);
            print_value(value, typed ? schema_of(&cursor, element.name) : nullptr);
        }
        putc('\n', stdout);
        interrupt_point();
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
    JsonRef names(json_array());
    json_array_append_new(names, json_string(query));
    if (json_array_size(names) == 0) {
        printf("%s: no argument.\n", command);
        return;
    }
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_values_new(json_incref(names)));
    if (p.via_template) ox_jrpcmsg_add_parameter_json_new(message, OX_TR_IGNORE_ACCESS_ERROR, json_true());
    request_exec(message, -1);
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) {
        response_report(message);
        return;
    }
    print_values(ox_tr_result_list(ox_jrpcmsg_get_result_json(message)), query);
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
