#include "commands/completion.hpp"

#include <string.h>

#include "commands/dispatch.hpp"
#include "commands/table.hpp"
#include "complete/hint.hpp"
#include "line/split.hpp"
#include "model/changes.hpp"
#include "model/current.hpp"
#include "model/node_fetch.hpp"
#include "ox_hint.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "session/interrupt.hpp"
#include "session/key_wait.hpp"

namespace {

void offer_commands(const TypedLine& line) {
    const char* prefix = typed_word_at(line, 0);
    size_t length = prefix ? strlen(prefix) : 0;
    for (const ShellCommand& row : command_table) {
        const char* name = row.name;
        if (length == 0 || (*name == *prefix && strncmp(name, prefix, length) == 0)) {
            json_array_append_new(line.candidates.texts, json_string(name));
            if (candidates_full(line.candidates)) return;
        }
    }
}

void offer_arguments(const TypedLine& line, const char* command) {
    const ShellCommand* row = command_lookup(command);
    if (!row || !row->offers) return;
    for (const Offer* offer = row->offers; offer->offer; ++offer) {
        if (line.count >= offer->first && line.count <= offer->last) offer->offer(line, *offer);
    }
}

/// Adds the candidates for the text left of the cursor.
void collect(const char* line, int cursor, const Candidates& candidates) {
    CharsRef text(ox_memory_text_n(line, cursor > 0 ? static_cast<size_t>(cursor) : 0));
    unsigned count = 0;
    JsonRef words(line_split(text, static_cast<int>(strlen(text)), &count));
    if (!words) return;
    size_t size = json_array_size(words);
    TypedLine typed = {words, static_cast<int>(count), json_string_value(json_array_get(words, count)), text,
                       candidates};
    if (size == 0 || (size == 1 && count == 0)) {
        offer_commands(typed);
    } else {
        offer_arguments(typed, typed_word_at(typed, 0));
    }
}

/// Whether the first word of a line is whole and no command, so that nothing completes it.
bool names_no_command(const char* line) {
    std::string_view word = line_plain_first_word(line);
    char name[64];
    if (word.empty()) return false;
    if (word.size() >= sizeof name) return true;
    memcpy(name, word.data(), word.size());
    name[word.size()] = '\0';
    return !command_lookup(name);
}

}  // namespace

void complete_line(const char* line, int cursor, json_t* candidates) {
    // While a command runs, the line is its own question, and the interrupt is the command's.
    if (!line || interrupt_armed) return;
    paths_refresh();
    struct Question {
        const char* line;
        int cursor;
        json_t* candidates;
    } question = {line, cursor, candidates};
    auto answer = [](void* context) {
        auto* asked = static_cast<Question*>(context);
        collect(asked->line, asked->cursor, {asked->candidates, 0});
    };
    if (!key_wait(answer, &question)) json_array_clear(candidates);
}

void complete_for_hint(const char* line, json_t* candidates) {
    collect(line, static_cast<int>(strlen(line)), {candidates, 2});
}

char* hint_line(const char* line) {
    if (!line || *line == '\0' || interrupt_armed) return nullptr;
    paths_refresh();
    if (names_no_command(line)) return nullptr;
    JsonRef candidates(json_array());
    fetch_in_background(true);
    complete_for_hint(line, candidates);
    fetch_in_background(false);
    if (json_array_size(candidates) != 1) return nullptr;
    const char* added = inserted_part(line, json_string_value(json_array_get(candidates, 0)));
    return added ? ox_memory_text(added) : nullptr;
}

bool hint_continue(void) {
    bool answered = fetch_continue();
    if (model_changes_continue() || answered) ox_rl_hint_changed();
    return fetch_goes_on();
}
