#include "commands/dispatch.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/table.hpp"
#include "ox_string.hpp"

namespace {

bool table_hashed = false;

void hash_table() {
    for (ShellCommand& row : command_table) {
        row.name_hash = ox_string_get_hash(row.name);
        row.method_hash = ox_string_get_hash(row.method);
    }
    table_hashed = true;
}

/// Equality behind the hash's fast test. A row without method matches no word by method.
bool matches(const char* text, uint32_t text_hash, const char* word, uint32_t word_hash) {
    return text && text_hash == word_hash && strcmp(text, word) == 0;
}

const char* shown(const char* word) {
    return word ? word : "(null)";
}

}  // namespace

const ShellCommand* command_find(const char* word) {
    if (!word) return nullptr;
    uint32_t hash = ox_string_get_hash(word);
    if (!table_hashed) hash_table();
    for (const ShellCommand& row : command_table) {
        if (matches(row.name, row.name_hash, word, hash)) return &row;
        if (matches(row.method, row.method_hash, word, hash)) return &row;
    }
    return nullptr;
}

const ShellCommand* command_lookup(const char* word) {
    if (word && strcmp(word, "?") == 0) word = "help";
    const ShellCommand* row = command_find(word);
    return row && row->handler ? row : nullptr;
}

int command_dispatch(const char* word, json_t* args) {
    const ShellCommand* row = command_lookup(word);
    if (!row || row->id == 0) {
        printf("%s: command not found.\n", shown(word));
        return -1;
    }
    return row->handler(row->name, args);
}

int request_dispatch(const char* word, json_t* args) {
    const ShellCommand* row = command_find(word);
    if (!row || !row->request_handler || row->id == 0) {
        printf("%s: unknown method.\n", shown(word));
        return -1;
    }
    return row->request_handler(word, args);
}
