#include "commands/record.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/words.hpp"
#include "complete/files.hpp"
#include "session/recording.hpp"

int record_command(const char* name, json_t* args) {
    if (json_array_size(args) != 1) {
        printf("syntax: %s <filename>|abort\n", name);
        return -1;
    }
    const char* word = word_at(args, 0);
    if (!word) return -1;
    return strcmp(word, "abort") == 0 ? record_abort(name) : record_start(name, word);
}

const Offer record_offers[] = {{1, 1, offer_keywords, 0, "abort"}, {1, 1, offer_files, 0, nullptr}, {}};
