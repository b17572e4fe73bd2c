#include "lua/lua_returns.hpp"

#include <string.h>

#include <string_view>

namespace {

bool is_word(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// Equals signs of the long bracket that opens at `at`, or -1.
int bracket_level(const char* at) {
    if (*at != '[') return -1;
    int level = 0;
    while (at[1 + level] == '=') ++level;
    return at[1 + level] == '[' ? level : -1;
}

/// Behind the long bracket of that level.
const char* skip_bracket(const char* at, int level) {
    for (at += 2 + level; *at; ++at) {
        if (*at != ']') continue;
        int equals = 0;
        while (at[1 + equals] == '=') ++equals;
        if (equals == level && at[1 + equals] == ']') return at + 2 + equals;
    }
    return at;
}

const char* skip_quoted(const char* at) {
    char quote = *at++;
    while (*at && *at != quote) at += at[0] == '\\' && at[1] ? 2 : 1;
    return *at ? at + 1 : at;
}

const char* skip_comment(const char* at) {
    at += 2;
    int level = bracket_level(at);
    return level >= 0 ? skip_bracket(at, level) : at + strcspn(at, "\r\n");
}

/// Behind the string or comment at `at`; `at` itself where none begins.
const char* skip_text(const char* at) {
    if (*at == '"' || *at == '\'') return skip_quoted(at);
    if (at[0] == '-' && at[1] == '-') return skip_comment(at);
    int level = bracket_level(at);
    return level >= 0 ? skip_bracket(at, level) : at;
}

/// The blocks that are open in functions after a word, of `depth` before it.
int depth_behind(int depth, std::string_view word) {
    if (word == "function") return depth + 1;
    if (depth == 0) return 0;
    if (word == "do" || word == "if" || word == "repeat") return depth + 1;
    return word == "end" || word == "until" ? depth - 1 : depth;
}

}  // namespace

bool lua_returns(const char* source) {
    int depth = 0;
    for (const char* at = source; *at;) {
        const char* behind = skip_text(at);
        if (behind == at) {
            while (is_word(*behind)) ++behind;
            std::string_view word(at, static_cast<size_t>(behind - at));
            if (depth == 0 && word == "return") return true;
            depth = depth_behind(depth, word);
            if (word.empty()) ++behind;
        }
        at = behind;
    }
    return false;
}
