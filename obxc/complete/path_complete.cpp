// Completion of data-model paths, values and method arguments.
#include <string.h>

#include "complete/complete.hpp"
#include "model/metadata.hpp"
#include "model/path.hpp"
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

/// A candidate, of which `matched` bytes are typed behind the separator; as it is where it needs no quotes.
json_t* as_typed(const char* line, char separator, const char* text, size_t matched) {
    if (!needs_quotes(text)) return json_string(text);
    CharsRef unquoted(strndup(text, matched));
    TypedWord typed = line ? typed_word(line, separator) : TypedWord{unquoted, 0};
    bool goes_on = separator == '.' && ox_tr_path_is_partial(text);
    return quoted_candidate(typed, text, matched, !goes_on);
}

/// What value completion offers to.
struct Values {
    json_t* candidates;
    const char* prefix;
    const char* line;
};

void offer_value(const Values& values, const char* value) {
    size_t length = strlen(values.prefix);
    if (!value || candidates_full(values.candidates) || strncmp(value, values.prefix, length) != 0) return;
    json_array_append_new(values.candidates, as_typed(values.line, '=', value, length));
}

void offer_enumeration(const Values& offered, const json_t* values) {
    size_t index;
    json_t* value;
    json_array_foreach(values, index, value) {
        if (json_is_string(value)) {
            offer_value(offered, json_string_value(value));
            continue;
        }
        CharsRef text(json_dumps(value, JSON_ENCODE_ANY));
        offer_value(offered, text);
    }
}

/// What name completion offers to.
struct Names {
    json_t* candidates;
    int flags;
    const char* line;
};

void offer_children(NodePath* base, const char* prefix, const Names& names) {
    size_t before = json_array_size(names.candidates);
    size_t matched = (prefix ? strlen(prefix) : 0) + (names.flags & CANDIDATES_ABSOLUTE ? 1 : 0);
    node_candidates_add(names.candidates, base, prefix, names.flags | CANDIDATES_DOT | CANDIDATES_PREFIX,
                        candidate_limit);
    for (size_t i = before; i < json_array_size(names.candidates); ++i) {
        const char* text = json_string_value(json_array_get(names.candidates, i));
        if (!needs_quotes(text)) continue;
        json_array_set_new(names.candidates, i, as_typed(names.line, '.', text, matched));
    }
    candidates_sort(names.candidates, OX_SORT_PATHS);
}

/// Resolves the first `length` bytes of a text.
bool resolve_part(NodePath* base, const char* text, size_t length) {
    CharsRef part(strndup(text, length));
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
    json_t* attributes = json_object_get(base->node, "#attr");
    const char* access = json_string_value(json_object_get(attributes, "access"));
    if (access && strcmp(access, "readOnly") == 0) return;
    Values values = {names.candidates, equals + 1, names.line};
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
            offer_enumeration(values, json_object_get(attributes, "enum"));
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

void path_complete(const char* word, json_t* candidates, int flags, const char* line) {
    model_events_fold();
    Names names = {candidates, flags, line};
    if (!current_path.node || (word && complete_below_last(word, names))) return;
    ScopedPath base;
    complete_from(&base, word, names);
}

void method_args_complete(const char* method_word, const char* word, json_t* candidates, const char* line) {
    model_events_fold();
    if (!current_path.node) return;
    // A copy serves as the place to complete from: the current node must not move, whatever ends this early.
    ScopedPath base;
    if (path_resolve(&base, method_word, true) < 0) return;
    base.input_allowed = 1;
    if (path_resolve(&base, "#input", true) < 0) return;
    complete_from(&base, word, {candidates, 0, line});
}

json_t* device_modes(void) {
    if (!current_path.node) return nullptr;
    ScopedPath mode;
    if (path_resolve(&mode, "Device.DeviceInfo.DeviceMode", true) < 0) return nullptr;
    return json_object_get(json_object_get(mode.node, "#attr"), "enum");
}
