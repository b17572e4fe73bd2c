// Lines of script files. Their words are parted by blanks and tabs alone; a word that begins with "#" begins
// a comment.
#pragma once

#include <string_view>

/// Whether a physical line, without its newline, goes on with the next one: it ends in a backslash or leaves
/// a quote open. Looks at this line only.
bool script_line_continues(const char* line);

struct ScriptWord {
    std::string_view text;  ///< empty: no further word
    const char* rest;       ///< behind the one blank that ended it
};
/// The first word of a text.
ScriptWord script_word(const char* text);
