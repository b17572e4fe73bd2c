// The tokenizer of shell lines, with the cursor at any place, lines of scripts, and candidates that are read
// back.
#include <string.h>

#include "fuzz.hpp"
#include "line/quote.hpp"
#include "line/script_line.hpp"
#include "line/split.hpp"
#include "ox_raii.hpp"

namespace {

void split_anywhere(const char* line, int cursor) {
    unsigned count = 0;
    size_t length = strlen(line);
    JsonRef words(line_split(line, cursor, &count));
    if (!words) return;  // no UTF-8
    REQUIRE(count <= length);
    size_t bytes = 0;
    size_t index;
    json_t* word;
    json_array_foreach(words, index, word) {
        REQUIRE(json_string_length(word) > 0);
        bytes += json_string_length(word);
    }
    REQUIRE(bytes <= length);
}

void script_words(const char* line) {
    script_line_continues(line);
    const char* end = line + strlen(line);
    const char* at = line;
    for (ScriptWord word = script_word(at); !word.text.empty(); word = script_word(at)) {
        REQUIRE(word.rest > at && word.rest <= end);
        at = word.rest;
    }
}

/// A candidate that is inserted whole is one word, and that text.
void quote_back(const char* text) {
    if (!*text || strpbrk(text, "\n\r")) return;
    TypedWord typed = typed_word("", 0);
    JsonRef quoted(quoted_candidate(typed, text, 0, true));
    if (!quoted) return;
    JsonRef words(line_split(json_string_value(quoted), -1, nullptr));
    REQUIRE(json_array_size(words) == 1);
    REQUIRE(strcmp(json_string_value(json_array_get(words, 0)), text) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    unsigned cursor = input.number(256);
    std::string line = input.text('\0');
    split_anywhere(line.c_str(), static_cast<int>(cursor % (line.size() + 1)));
    JsonRef words(line_words(line.c_str()));
    script_words(line.c_str());
    quote_back(line.c_str());
    return 0;
}
