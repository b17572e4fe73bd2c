#include <string.h>
#include <strings.h>

#include "complete/complete.hpp"
#include "model/metadata.hpp"
#include "ox_editor.hpp"
#include "session/interrupt.hpp"

namespace {

enum { HINT_WAIT_MS = 150 };

/// What inserting the candidate would add: it replaces the longest text at the line's end that starts
/// where a word may and that it begins with. Null when there is no such text.
const char* inserted_part(const char* line, const char* candidate) {
    const char* end = line + strlen(line);
    for (const char* start = line; start <= end; ++start) {
        if (start > line && !strchr(OX_RL_SHELL_BOUNDARIES, start[-1])) continue;
        size_t length = static_cast<size_t>(end - start);
        if (strncasecmp(candidate, start, length) == 0) return candidate + length;
    }
    return nullptr;
}

}  // namespace

char* hint_line(const char* line) {
    if (!line || *line == '\0' || interrupt_armed) return nullptr;
    dm_settle();
    if (names_no_command(line)) return nullptr;
    JsonRef candidates(json_array());
    candidate_limit = 2;
    node_fetch_limit(HINT_WAIT_MS);
    candidates_collect(line, static_cast<int>(strlen(line)), candidates);
    node_fetch_limit(-1);
    candidate_limit = 0;
    if (json_array_size(candidates) != 1) return nullptr;
    const char* added = inserted_part(line, json_string_value(json_array_get(candidates, 0)));
    return added ? strdup(added) : nullptr;
}
