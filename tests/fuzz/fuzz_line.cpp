// The tokenizer of shell lines, with the cursor at any place.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "../../obxc/line/split.cpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    char* line = strndup(reinterpret_cast<const char*>(data + 1), size - 1);
    size_t length = strlen(line);
    int cursor = static_cast<int>(data[0] % (length + 1));
    unsigned count = 0;
    json_t* words = line_split(line, cursor, &count);
    if (!words || count > length) abort();
    size_t bytes = 0;
    size_t index;
    json_t* word;
    json_array_foreach(words, index, word) {
        if (json_string_length(word) == 0) abort();
        bytes += json_string_length(word);
    }
    if (bytes > length) abort();
    json_decref(words);
    free(line);
    return 0;
}
