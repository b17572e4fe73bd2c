#include "complete/offers.hpp"

#include <string.h>

#include "line/quote.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"

void offer_keywords(const TypedLine& line, const Offer& offer) {
    for (const char* word = offer.keywords; *word != '\0';) {
        size_t length = strcspn(word, " ");
        offer_text(line, word, length);
        word += length + strspn(word + length, " ");
    }
    candidates_sort(line.candidates, OX_SORT_ASCENDING);
}

void offer_text(const TypedLine& line, const char* text, size_t length) {
    const char* prefix = line.current ? line.current : "";
    size_t prefix_length = strlen(prefix);
    if (prefix_length > length || memcmp(text, prefix, prefix_length) != 0) return;
    JsonRef candidate(json_stringn(text, length));
    if (candidate && needs_quotes(json_string_value(candidate))) {
        TypedWord typed = typed_word(line.text, 0);
        candidate.reset(quoted_candidate(typed, json_string_value(candidate), prefix_length, true));
    }
    json_array_append(line.candidates.texts, candidate);
}

const char* typed_word_at(const TypedLine& line, int index) {
    return json_string_value(json_array_get(line.words, static_cast<size_t>(index)));
}

bool is_typed(const TypedLine& line, const char* text) {
    size_t index;
    json_t* word;
    json_array_foreach(line.words, index, word) {
        if (index > 0 && strcmp(json_string_value(word), text) == 0) return true;
    }
    return false;
}

bool candidates_full(const Candidates& candidates) {
    return candidates.limit > 0 && json_array_size(candidates.texts) >= candidates.limit;
}

void candidates_sort(const Candidates& candidates, int order) {
    if (candidates.limit == 0) ox_qsort_json(candidates.texts, order);
}
