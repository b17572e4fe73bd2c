#include "complete/paths.hpp"

#include <string.h>

#include "complete/values.hpp"
#include "line/quote.hpp"
#include "model/cache.hpp"
#include "model/candidates.hpp"
#include "model/changes.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"

namespace {

/// Where the text before the last "." led: while a name is typed, each key asks for the same object.
struct LastParent {
    unsigned generation;
    json_t* start;
    json_t* node;
    size_t length;
    char text[sizeof NodePath{}.path];  // with its "."
};

LastParent last_parent;

/// What name completion offers to.
struct Names {
    Candidates candidates;
    int flags;
    const char* line;
};

/// A candidate, of which `matched` bytes are typed behind the last ".", in need of quotes.
json_t* quoted_name(const char* line, const char* text, size_t matched) {
    return quoted_candidate(typed_word(line, '.'), text, matched, !ox_tr_path_is_partial(text));
}

void offer_children(NodePath* base, const char* prefix, const Names& names) {
    json_t* texts = names.candidates.texts;
    size_t before = json_array_size(texts);
    size_t matched = (prefix ? strlen(prefix) : 0) + (names.flags & CANDIDATES_ABSOLUTE ? 1 : 0);
    node_candidates_add(texts, base, prefix, names.flags | CANDIDATES_DOT | CANDIDATES_PREFIX,
                        names.candidates.limit);
    for (size_t i = before; i < json_array_size(texts); ++i) {
        const char* text = json_string_value(json_array_get(texts, i));
        if (needs_quotes(text)) json_array_set_new(texts, i, quoted_name(names.line, text, matched));
    }
    candidates_sort(names.candidates, OX_SORT_PATHS);
}

/// Resolves the first `length` bytes of a text.
bool resolve_part(NodePath* base, const char* text, size_t length) {
    CharsRef part(ox_memory_text_n(text, length));
    return path_resolve(base, part, true) == 0;
}

void remember_parent(json_t* start, json_t* node, const char* text, size_t length) {
    last_parent.length = 0;
    bool by_previous = memchr(text, '-', length) != nullptr;  // the previous path may change meanwhile
    if (by_previous || length > sizeof last_parent.text) return;
    last_parent.generation = dm_generation;
    last_parent.start = start;
    last_parent.node = node;
    last_parent.length = length;
    memcpy(last_parent.text, text, length);
}

/// Completes a name below the remembered parent; false when the word leads elsewhere, or the parent's
/// children are not known.
bool complete_below_last(const char* word, const Names& names) {
    const LastParent& last = last_parent;
    if (last.length == 0 || last.generation != dm_generation || last.start != current_path.node) return false;
    if (strncmp(word, last.text, last.length) != 0 || strpbrk(word + last.length, ".=")) return false;
    if (!node_is_fetched(last.node)) return false;
    NodePath parent = {};
    parent.node = last.node;
    offer_children(&parent, word + last.length, names);
    return true;
}

void complete_name(NodePath* base, const char* word, Names names) {
    const char* dot = strrchr(word, '.');
    if (dot) {
        json_t* start = base->node;
        if (!resolve_part(base, word, static_cast<size_t>(dot - word))) return;
        remember_parent(start, base->node, word, static_cast<size_t>(dot + 1 - word));
        word = dot + 1;
    } else if (*word == ':') {
        path_reset(base);
        names.flags |= CANDIDATES_ABSOLUTE;
        ++word;
    }
    offer_children(base, word, names);
}

void complete_value(NodePath* base, const char* word, const char* equals, const Names& names) {
    if (!resolve_part(base, word, static_cast<size_t>(equals - word))) return;
    if (node_is_read_only(base->node)) return;
    OfferedValues values = {names.candidates, equals + 1, names.line};
    switch (ox_tr_dm_node_type_get(base->node)) {
        case OX_TR_BOOLEAN:
        case OX_TR_FLAG:
            offer_value(values, "true");
            offer_value(values, "false");
            return;
        case OX_TR_PATH_REF:
            path_reset(base);
            complete_name(base, values.prefix, names);
            return;
        case OX_TR_UNKNOWN:
        case OX_TR_OBJECT:
        case OX_TR_METHOD:
            return;
        default:
            offer_enumeration(values, json_object_get(ox_tr_dm_node_attr_get(base->node), "enum"));
    }
}

void complete_from(NodePath* base, const char* word, const Names& names) {
    if (!word) {
        offer_children(base, nullptr, names);
        return;
    }
    const char* equals = strchr(word, '=');
    if (equals) {
        complete_value(base, word, equals, names);
    } else {
        complete_name(base, word, names);
    }
}

}  // namespace

void offer_paths(const TypedLine& line, const Offer& offer) {
    model_events_fold();
    Names names = {line.candidates, offer.flags, line.text};
    if (!current_path.node || (line.current && complete_below_last(line.current, names))) return;
    ScopedPath base;
    complete_from(&base, line.current, names);
}

void offer_method_arguments(const TypedLine& line, const Offer& offer) {
    model_events_fold();
    if (!current_path.node) return;
    // A copy serves as the place to complete from: the current node must not move, whatever ends this early.
    ScopedPath base;
    if (path_resolve(&base, typed_word_at(line, 1), true) < 0) return;
    base.input_allowed = 1;
    if (path_resolve(&base, OX_TR_INPUT, true) < 0) return;
    complete_from(&base, line.current, {line.candidates, offer.flags, line.text});
}
