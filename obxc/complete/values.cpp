#include "complete/values.hpp"

#include <string.h>

#include "line/quote.hpp"
#include "model/current.hpp"
#include "model/resolve.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"

void offer_value(const OfferedValues& offered, const char* value) {
    size_t length = strlen(offered.prefix);
    if (!value || candidates_full(offered.candidates) || strncmp(value, offered.prefix, length) != 0) return;
    json_t* candidate = needs_quotes(value)
                            ? quoted_candidate(typed_word(offered.line, '='), value, length, true)
                            : json_string(value);
    json_array_append_new(offered.candidates.texts, candidate);
}

void offer_enumeration(const OfferedValues& offered, const json_t* values) {
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

json_t* parameter_enumeration(const char* path) {
    if (!current_path.node) return nullptr;
    ScopedPath place;
    if (path_resolve(&place, path, true) < 0) return nullptr;
    return json_incref(json_object_get(ox_tr_dm_node_attr_get(place.node), "enum"));
}
