#include "completion_edit.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "ox_memory.hpp"
#include "width.hpp"

namespace {

bool same(char a, char b, bool case_sensitive) {
    if (a == b) return true;
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return !case_sensitive && lower(a) == lower(b);
}

size_t common_length(const char* a, const char* b, size_t limit, bool case_sensitive) {
    size_t i = 0;
    while (i < limit && a[i] && b[i] && same(a[i], b[i], case_sensitive)) i++;
    return i;
}

/// Cuts a length back to the end of a whole character.
size_t whole_characters(const char* text, size_t length) {
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) length--;
    return length;
}

const char* candidate_at(const json_t* candidates, size_t index) {
    const char* text = json_string_value(json_array_get(candidates, index));
    return text ? text : "";
}

}  // namespace

size_t completion_start(const char* line, size_t cursor, const char* candidate,
                        const CompletionRules& rules) {
    size_t longest = strlen(candidate);
    for (size_t start = cursor > longest ? cursor - longest : 0; start < cursor; start++) {
        if (start > 0 && !strchr(rules.boundaries, line[start - 1])) continue;
        size_t length = cursor - start;
        if (common_length(line + start, candidate, length, rules.case_sensitive) == length) return start;
    }
    return cursor;
}

CompletionEdit completion_edit(const char* line, size_t cursor, const json_t* candidates,
                               const CompletionRules& rules) {
    size_t count = json_array_size(candidates);
    CompletionEdit edit = {cursor, nullptr, false};
    if (count == 0) return edit;

    const char* first = candidate_at(candidates, 0);
    edit.start = completion_start(line, cursor, first, rules);
    size_t common = strlen(first);
    for (size_t i = 1; i < count; i++) {
        const char* other = candidate_at(candidates, i);
        size_t typed = cursor - edit.start;
        if (common_length(line + edit.start, other, typed, rules.case_sensitive) < typed) {
            // This candidate begins with a shorter part of what is typed only: that part is replaced.
            size_t start = completion_start(line, cursor, other, rules);
            if (start > edit.start) edit.start = start;
        }
        common = common_length(first, other, common, rules.case_sensitive);
    }
    // Control characters stay out of the line: drawn, or echoed by a message, they could steer the terminal.
    common = terminal_cut(first, whole_characters(first, common), SIZE_MAX);
    size_t typed = cursor - edit.start;
    bool in_word = cursor > 0 && !strchr(rules.boundaries, line[cursor - 1]);
    if (common < typed || (typed == 0 && in_word)) return edit;

    edit.text = ox_memory_text_n(first, common);
    bool equal = common == typed && memcmp(line + edit.start, first, common) == 0;
    // Where several fit, what was typed is not replaced by the first one's capitals.
    bool only_case = count > 1 && common == typed;
    edit.changes = !equal && !only_case;
    return edit;
}
