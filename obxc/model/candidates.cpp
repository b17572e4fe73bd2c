#include "model/candidates.hpp"

#include <ctype.h>
#include <string.h>
#include <strings.h>

#include "model/cache.hpp"
#include "model/changes.hpp"
#include "model/node.hpp"
#include "model/node_fetch.hpp"
#include "ox_raii.hpp"
#include "ox_str.hpp"
#include "ox_tr_node.hpp"

namespace {

int folded(char c) {
    return tolower(static_cast<unsigned char>(c));
}

bool is_left_out(const json_t* parameter, int flags) {
    if (flags & CANDIDATES_OBJECTS) return true;
    return (flags & CANDIDATES_WRITABLE) && node_is_read_only(parameter);
}

}  // namespace

json_t* node_candidates(NodePath* p, const char* text, int flags) {
    JsonRef candidates(json_array());
    node_candidates_add(candidates, p, text, flags, 0);
    return candidates.release();
}

void node_candidates_add(json_t* out, NodePath* p, const char* text, int flags, size_t limit) {
    model_events_fold();
    if (!node_is_fetched(p->node)) node_fetch(p);
    bool by_prefix = flags & CANDIDATES_PREFIX;
    size_t prefix = by_prefix && text ? strlen(text) : 0;
    StrRef entry(ox_str_init());
    if (flags & CANDIDATES_ABSOLUTE) ox_str_add(entry, ":");
    if (text && !by_prefix) {
        ox_str_add(entry, text);
        ox_str_add(entry, ".");
    }
    size_t lead = ox_str_length(entry);
    int initial = prefix > 0 ? folded(text[0]) : 0;
    const json_t* attributes = nullptr;  // the last ones: those of equal nodes are one object mostly
    bool parameter = false;
    for (void* member = json_object_iter(p->node); member; member = json_object_iter_next(p->node, member)) {
        const char* key = json_object_iter_key(member);
        if (!ox_tr_is_child(key)) continue;
        if (prefix > 0 && (folded(key[0]) != initial || strncasecmp(key, text, prefix) != 0)) continue;
        json_t* value = json_object_iter_value(member);
        const json_t* own = ox_tr_dm_node_attr_get(value);
        if (own != attributes || !own) parameter = node_is_parameter(value);
        attributes = own;
        if (parameter && is_left_out(value, flags)) continue;
        size_t length = strlen(key);
        ox_str_add_n(entry, key, length);
        bool dot = (flags & CANDIDATES_DOT) && !parameter && !(length > 0 && key[length - 1] == '.');
        if (dot) ox_str_add_n(entry, ".", 1);
        // A key of the cache has been read as UTF-8.
        json_array_append_new(out, json_stringn_nocheck(ox_dynarray_get(entry), ox_str_length(entry)));
        if (limit > 0 && json_array_size(out) >= limit) return;
        ox_dynarray_cut(entry, lead, length + dot);
    }
}
