#include "commands/ls.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/listing.hpp"
#include "commands/print.hpp"
#include "commands/words.hpp"
#include "complete/paths.hpp"
#include "model/cache.hpp"
#include "model/candidates.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_colors.hpp"
#include "ox_columns.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_memory.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"
#include "ox_str.hpp"
#include "ox_string.hpp"
#include "ox_tr_names.hpp"
#include "ox_vect.hpp"
#include "session/interrupt.hpp"
#include "session/prompt.hpp"
#include "session/request.hpp"

namespace {

enum LsOption { LS_LONG = 1, LS_DOT = 2 };
enum { LS_TIMEOUT_MS = 1000 };

/// Collects the option letters of the words that begin with "-" and gives the other words.
json_t* split_options(json_t* args, int* options) {
    json_t* paths = json_array();
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) {
        const char* word = json_string_value(arg);
        if (!word || word[0] != '-') {
            json_array_append(paths, arg);
            continue;
        }
        if (strchr(word, 'l')) *options |= LS_LONG;
        if (strchr(word, 'a')) *options |= LS_DOT;
    }
    return paths;
}

void show_short(NodePath* p, const char* path, int options) {
    JsonRef list;
    if (!path_is_root(p) && node_is_parameter(p->node)) {
        list.reset(json_array());
        if (path) json_array_append_new(list, json_string(path));
        ox_rl_show_list(list);
        return;
    }
    CharsRef base(path ? ox_memory_text(path) : nullptr);
    size_t length = base ? strlen(base) : 0;
    if (length > 0 && base[length - 1] == '.') base[length - 1] = '\0';
    list.reset(node_candidates(p, base, CANDIDATES_DOT));
    ox_qsort_json(list, OX_SORT_PATHS);
    if (options & LS_DOT) json_array_insert_new(list, 0, json_string("."));
    ox_rl_show_list(list);
}

struct LsWidths {
    size_t type = 4, access = 6, perms = 5, flags = 5;
};

void widen(size_t* width, const char* text) {
    size_t size = ox_out_size(text);
    if (size > *width) *width = size;
}

LsWidths measure(const ox_vect* entries) {
    LsWidths widths;
    for (size_t i = 0; const auto* entry = static_cast<const LsEntry*>(ox_vect_get(entries, i)); i++) {
        widen(&widths.type, entry->type);
        widen(&widths.access, entry->access);
        widen(&widths.perms, entry->perms);
        widen(&widths.flags, entry->flags);
    }
    return widths;
}

void print_cell(const char* text, size_t width) {
    print_padded(text, strlen(text), width + 2);
}

void print_row(const LsWidths* widths, const char* type, const char* access, const char* perms,
               const char* flags) {
    print_cell(type, widths->type);
    print_cell(access, widths->access);
    print_cell(perms, widths->perms);
    print_cell(flags, widths->flags);
}

void print_table(const ox_vect* entries) {
    LsWidths widths = measure(entries);
    print_row(&widths, "Type", "Access", "Perms", "Flags");
    puts("Name");
    for (size_t i = 0; const auto* entry = static_cast<const LsEntry*>(ox_vect_get(entries, i)); i++) {
        print_row(&widths, entry->type, entry->access, entry->perms, entry->flags);
        ox_colors_set_hsv2(colour_scheme[COLOUR_AUTOCOMPLETE]);
        ox_out_text(entry->name);
        putc('\n', stdout);
        ox_colors_reset();
        interrupt_point();
    }
}

/// The entries of a long listing while the answer arrives.
struct LsTaking {
    VectRef entries;
    size_t prefix;  ///< bytes of the names that are not shown
    size_t cost;    ///< bytes of memory
};

void begin_entries(void* context) {
    auto* taking = static_cast<LsTaking*>(context);
    taking->entries.reset(ls_entries_new());
    taking->cost = 0;
}

/// An answer of nothing but short names does not become many times its length.
void take_entry(void* context, const ox_list_element* element) {
    constexpr size_t free_cost = size_t{32} << 20;
    auto* taking = static_cast<LsTaking*>(context);
    taking->cost += sizeof(LsEntry);
    if (taking->cost <= 2 * element->arrived + free_cost)
        ls_repack_element(taking->entries, element, taking->prefix);
}

/// A failed request is not reported: the heading stands alone then.
void show_long(const NodePath* p) {
    StrRef query(ox_str_init());
    ox_str_printf(query, "%s.", p->path);
    JsonRef names(json_array());
    json_array_append_new(names, json_string(ox_dynarray_get(query)));
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(names.release(), 1));
    LsTaking taking = {VectRef(ls_entries_new()), strlen(p->path), 0};
    ox_list_taker taker = {begin_entries, take_entry, &taking};
    request_exec_list(message, LS_TIMEOUT_MS, &taker);
    if (ox_jrpcmsg_typeof(message) != OX_JRPCMSG_RESULT) begin_entries(&taking);
    ox_vect* entries = taking.entries;
    ox_vect_sort(entries);
    print_table(entries);
}

int list_node(const char* command, const char* path, int options) {
    ScopedPath p;
    if (path && p.node && path_resolve(&p, path) < 0) {
        printf("%s: %s: no such node\n", command, path);
        return -1;
    }
    if (options & LS_LONG) {
        show_long(&p);
        return 0;
    }
    show_short(&p, path, options);
    if (json_object_get(p.node, OX_TR_LARGE)) {
        printf("%s: :", command);
        ox_out_text(p.path);
        puts(": too large for an answer");
    }
    return 0;
}

}  // namespace

int ls_command(const char* name, json_t* args) {
    int options = 0;
    JsonRef paths(split_options(args, &options));
    if (json_array_size(paths) < 2) {
        return list_node(name, word_at(paths, 0), options);
    }
    size_t index;
    json_t* path;
    json_array_foreach(paths.get(), index, path) {
        const char* text = json_string_value(path);
        printf("%s:\n", text ? text : "");
        list_node(name, text, options);
        putc('\n', stdout);
    }
    return 0;
}

const Offer ls_offers[] = {{1, LAST_WORD, offer_paths, 0, nullptr}, {}};
