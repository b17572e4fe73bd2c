// The characters that mean something on a shell line.
#pragma once

#include <string.h>

/// What parts words.
inline constexpr const char LINE_BLANKS[] = " \t\n\v\f\r";
/// All that is not only itself: blanks, quotes, the escape, and "#", behind which a comment stands.
inline constexpr const char LINE_SPECIALS[] = " \t\n\v\f\r'\"\\#";

inline bool line_is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
inline bool line_is_quote(char c) {
    return c == '\'' || c == '"';
}
/// Whether a backslash in front of it stands for the character alone; in front of others it stays.
inline bool line_is_escapable(char c) {
    return line_is_quote(c) || c == '#' || c == '\\';
}
/// The quote that is open behind an unescaped quote `c`, `open` (or 0) before it.
inline char line_quote_behind(char open, char c) {
    return !open ? c : open == c ? '\0' : open;
}
