#include "complete/complete.hpp"

#include <string.h>

#include "model/metadata.hpp"
#include "ox_completion.hpp"
#include "ox_note.hpp"
#include "ox_string.hpp"
#include "session/interrupt.hpp"
#include "session/line_split.hpp"
#include "session/request.hpp"

size_t candidate_limit = 0;

namespace {

const ShellCommand* command_rows = nullptr;
size_t command_count = 0;
const ShellCommand* (*command_find)(const char* word) = nullptr;

/// The line left of the cursor.
struct Line {
    json_t* words;
    int count;            // index of the word under the cursor
    const char* current;  // that word, null when nothing of it is typed
    const char* text;
    json_t* candidates;
};

struct Rule {
    const char* command;
    int first;  // the words that the rule completes
    int last;
    void (*offer)(const Line& line, const Rule& rule);
    int flags;
    const char* keywords;
};

const char* word_at(const Line& line, int index) {
    return json_string_value(json_array_get(line.words, static_cast<size_t>(index)));
}

bool is_typed(const Line& line, const char* text) {
    size_t index;
    json_t* word;
    json_array_foreach(line.words, index, word) {
        if (index > 0 && strcmp(json_string_value(word), text) == 0) return true;
    }
    return false;
}

void offer_text(const Line& line, const char* text, size_t length) {
    const char* prefix = line.current ? line.current : "";
    size_t prefix_length = strlen(prefix);
    if (prefix_length > length || memcmp(text, prefix, prefix_length) != 0) return;
    JsonRef candidate(json_stringn(text, length));
    if (candidate && needs_quotes(json_string_value(candidate))) {
        TypedWord typed = typed_word(line.text, 0);
        candidate.reset(quoted_candidate(typed, json_string_value(candidate), prefix_length, true));
    }
    json_array_append(line.candidates, candidate);
}

void offer_keywords(const Line& line, const Rule& rule) {
    for (const char* word = rule.keywords; *word != '\0';) {
        size_t length = strcspn(word, " ");
        offer_text(line, word, length);
        word += length + strspn(word + length, " ");
    }
    candidates_sort(line.candidates, OX_SORT_ASCENDING);
}

void offer_paths(const Line& line, const Rule& rule) {
    path_complete(line.current, line.candidates, rule.flags, line.text);
}

void offer_method_args(const Line& line, const Rule& /*rule*/) {
    method_args_complete(word_at(line, 1), line.current, line.candidates, line.text);
}

void offer_files(const Line& line, const Rule& rule) {
    TypedWord typed = typed_word(line.text, '/');
    file_complete(line.count, line.words, line.candidates, rule.flags, &typed);
}

void offer_modes(const Line& line, const Rule& /*rule*/) {
    size_t index;
    json_t* mode;
    json_array_foreach(device_modes(), index, mode) {
        if (json_string_length(mode) > 0) {
            offer_text(line, json_string_value(mode), json_string_length(mode));
        }
    }
    candidates_sort(line.candidates, OX_SORT_ASCENDING);
}

void offer_reboot(const Line& line, const Rule& rule) {
    if (!is_typed(line, "-f")) offer_text(line, "-f", 2);
    size_t index;
    json_t* mode;
    json_array_foreach(device_modes(), index, mode) {
        if (json_string_length(mode) > 0 && is_typed(line, json_string_value(mode))) return;
    }
    offer_modes(line, rule);
}

enum { ANY = 1 << 30, COMMANDS = 0, FILES = 1 };

constexpr Rule rules[] = {
    {"set", 1, ANY, offer_paths, CANDIDATES_WRITABLE, nullptr},
    {"add", 1, ANY, offer_paths, CANDIDATES_OBJECTS, nullptr},
    {"touch", 1, ANY, offer_paths, CANDIDATES_OBJECTS, nullptr},
    {"cd", 1, ANY, offer_paths, CANDIDATES_OBJECTS, nullptr},
    {"take", 1, ANY, offer_paths, CANDIDATES_OBJECTS, nullptr},
    {"tree", 1, ANY, offer_paths, CANDIDATES_OBJECTS, nullptr},
    {"cat", 1, ANY, offer_paths, 0, nullptr},
    {"get", 1, ANY, offer_paths, 0, nullptr},
    {"catree", 1, ANY, offer_paths, 0, nullptr},
    {"del", 1, ANY, offer_paths, 0, nullptr},
    {"rm", 1, ANY, offer_paths, 0, nullptr},
    {"attr", 1, ANY, offer_paths, 0, nullptr},
    {"info", 1, ANY, offer_paths, 0, nullptr},
    {"ls", 1, ANY, offer_paths, 0, nullptr},
    {"select", 1, ANY, offer_paths, 0, nullptr},
    {"order", 1, 1, offer_paths, 0, nullptr},
    {"execute", 1, 1, offer_paths, 0, nullptr},
    {"execute", 2, ANY, offer_method_args, 0, nullptr},
    {"color", 1, 1, offer_keywords, 0, "autocomplete hint prompt root-prompt"},
    {"debug", 1, 1, offer_keywords, 0, "disabled permanent temporary"},
    {"download", 1, 1, offer_keywords, 0, "config file firmware"},
    {"download", 2, 2, offer_files, FILES, nullptr},
    {"record", 1, 1, offer_keywords, 0, "abort"},
    {"record", 1, 1, offer_files, FILES, nullptr},
    {"luarecord", 1, 1, offer_keywords, 0, "abort"},
    {"luarecord", 1, 1, offer_files, FILES, nullptr},
    {"opt", 1, 1, offer_keywords, 0, "autocomplete hint"},
    {"opt", 2, 2, offer_keywords, 0, "on off"},
    {"reboot", 1, ANY, offer_reboot, 0, nullptr},
    {"reset", 1, 1, offer_modes, 0, nullptr},
    {"sh", 1, ANY, offer_files, COMMANDS, nullptr},
    {"upgrade", 1, ANY, offer_files, FILES, nullptr},
    {"upload", 1, 1, offer_keywords, 0, "config"},
    {"upload", 2, 2, offer_files, FILES, nullptr},
};

void offer_commands(const Line& line) {
    const char* prefix = word_at(line, 0);
    size_t length = prefix ? strlen(prefix) : 0;
    for (size_t i = 0; i < command_count; ++i) {
        const char* name = command_rows[i].name;
        if (length == 0 || (*name == *prefix && strncmp(name, prefix, length) == 0)) {
            json_array_append_new(line.candidates, json_string(name));
            if (candidates_full(line.candidates)) return;
        }
    }
}

void offer_by_rules(const Line& line, const char* command) {
    for (const Rule& rule : rules) {
        if (*rule.command != *command || strcmp(rule.command, command) != 0) continue;
        if (line.count < rule.first || line.count > rule.last) continue;
        rule.offer(line, rule);
    }
}

}  // namespace

void complete_set_commands(const ShellCommand* rows, size_t count,
                           const ShellCommand* (*lookup)(const char* word)) {
    command_rows = rows;
    command_count = count;
    command_find = lookup;
}

bool names_no_command(const char* line) {
    const char* blanks = " \t\n\v\f\r";
    line += strspn(line, blanks);
    size_t length = strcspn(line, " \t\n\v\f\r'\"\\#");
    char word[64];
    if (!command_find || length == 0 || !line[length] || !strchr(blanks, line[length])) return false;
    if (length >= sizeof word) return true;
    memcpy(word, line, length);
    word[length] = '\0';
    return !command_find(word);
}

bool candidates_full(const json_t* candidates) {
    return candidate_limit > 0 && json_array_size(candidates) >= candidate_limit;
}

void candidates_sort(json_t* candidates, int order) {
    if (candidate_limit == 0) ox_qsort_json(candidates, order);
}

void candidates_collect(const char* line, int cursor, json_t* candidates) {
    CharsRef text(strndup(line, cursor > 0 ? static_cast<size_t>(cursor) : 0));
    unsigned count = 0;
    JsonRef words(line_split(text, static_cast<int>(strlen(text)), &count));
    if (!words) return;
    size_t size = json_array_size(words);
    Line split = {words, static_cast<int>(count), json_string_value(json_array_get(words, count)), text,
                  candidates};
    if (size == 0 || (size == 1 && count == 0)) {
        offer_commands(split);
        return;
    }
    const ShellCommand* row = command_find ? command_find(word_at(split, 0)) : nullptr;
    if (row) offer_by_rules(split, row->name);
}

void complete_line(const char* line, int cursor, json_t* candidates) {
    // While a command runs, the line is its own question, and the interrupt is the command's.
    if (!line || interrupt_armed) return;
    dm_settle();
    node_fetch_limit(-1);
    candidate_limit = 0;
    struct sigaction loop_action;
    sigaction(SIGINT, nullptr, &loop_action);
    interrupt_install(shell_interrupt);
    ox_held_mark held;
    interrupt_held = &held;
    if (sigsetjmp(interrupt_context, 1) == 0) {
        interrupt_armed = 1;
        candidates_collect(line, cursor, candidates);
        interrupt_point();
    } else {
        json_array_clear(candidates);
        request_recover();
        ox_rl_note(nullptr);
        ox_rl_completion_interrupted();
    }
    interrupt_disarm();
    sigaction(SIGINT, &loop_action, nullptr);
}
