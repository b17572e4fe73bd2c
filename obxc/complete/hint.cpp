#include "complete/hint.hpp"

#include <string.h>
#include <strings.h>

#include "ox_editor.hpp"

const char* inserted_part(const char* line, const char* candidate) {
    const char* end = line + strlen(line);
    for (const char* start = line; start <= end; ++start) {
        if (start > line && !strchr(OX_RL_SHELL_BOUNDARIES, start[-1])) continue;
        size_t length = static_cast<size_t>(end - start);
        if (strncasecmp(candidate, start, length) == 0) return candidate + length;
    }
    return nullptr;
}
