#include "commands/describe.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/completion.hpp"
#include "commands/dispatch.hpp"
#include "commands/table.hpp"
#include "complete/hint.hpp"
#include "complete/paths.hpp"
#include "line/split.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_memory.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"
#include "session/interrupt.hpp"
#include "session/key_wait.hpp"
#include "session/request.hpp"

namespace {

enum { PAGE_COLUMNS_MAX = 100 };

/// The line up to the cursor, and what is told of it.
struct Question {
    const char* text;
    size_t columns;
    json_t* words;
    size_t at;     // the word under the cursor
    ox_str* page;  // empty where there is nothing to tell
};

void add_syntax(ox_str* page, const ShellCommand& row) {
    if (!row.syntax || !row.help) return;
    if (ox_str_length(page) > 0) ox_str_add(page, "\n");
    ox_str_printf_append(page, "%s - %s", row.syntax, row.help);
}

/// The commands that begin as the word does.
void describe_commands(const Question& question, const char* prefix) {
    size_t length = prefix ? strlen(prefix) : 0;
    const ShellCommand* whole = prefix ? command_lookup(prefix) : nullptr;
    for (const ShellCommand& row : command_table) {
        if (whole ? &row == whole : strncmp(row.name, prefix ? prefix : "", length) == 0)
            add_syntax(question.page, row);
    }
}

/// The attributes of nodes with their details: a list of elements, a new reference, or null.
json_t* fetch_list(const char* name, int level) {
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(json_pack("[s]", name), level));
    ox_jrpcmsg_add_parameter_json_new(message, OX_TR_DETAILS, json_true());
    request_exec(message, -1);
    return json_incref(ox_tr_result_list(ox_jrpcmsg_get_result_json(message)));
}

/// The parameters that refer to an object: a new array.
json_t* fetch_referrers(const char* object) {
    MsgRef message(ox_jrpcmsg_cmd_get_datamodel_new(json_pack("[s]", "."), -1));
    request_exec(message, -1);
    const json_t* result = ox_jrpcmsg_get_result_json(message);
    return ox_tr_referrers_new(json_object_get(result, OX_TR_DATAMODEL), object);
}

bool is_method(const json_t* node) {
    return ox_tr_dm_node_type_get(node) == OX_TR_METHOD;
}

bool describe_node(const Question& question, const NodePath& place) {
    if (path_is_root(&place)) return false;
    char name[sizeof place.path + sizeof OX_TR_INPUT + 2];
    snprintf(name, sizeof name, "%s%s", place.path,
             node_is_parameter(place.node) || is_method(place.node) ? "" : ".");
    JsonRef list(fetch_list(name, 0));
    const json_t* attributes = json_object_get(json_array_get(list, 0), OX_TR_ATTRIBUTES);
    if (!attributes) attributes = ox_tr_dm_node_attr_get(place.node);
    JsonRef inputs;
    if (is_method(place.node)) {
        snprintf(name, sizeof name, "%s.%s.", place.path, OX_TR_INPUT);
        inputs.reset(fetch_list(name, -1));
    }
    bool object = ox_tr_dm_node_type_get(place.node) == OX_TR_OBJECT;
    JsonRef referrers(object ? fetch_referrers(place.path) : nullptr);
    CharsRef page(ox_tr_page_new(place.path, attributes, inputs, referrers, question.columns));
    if (page) ox_str_add(question.page, page);
    return page;
}

bool describe_path(const Question& question, const char* path) {
    ScopedPath place;
    return place.node && path_resolve(&place, path, true) == 0 && describe_node(question, place);
}

/// What a word leads to as it is; as the only candidate completes it; and up to its last dot.
bool describe_word(const Question& question, const char* word) {
    CharsRef path(ox_memory_text_n(word, strcspn(word, "=")));
    if (describe_path(question, path)) return true;
    JsonRef candidates(json_array());
    complete_for_hint(question.text, candidates);
    const char* only = json_string_value(json_array_get(candidates, 0));
    const char* added = json_array_size(candidates) == 1 ? inserted_part(question.text, only) : nullptr;
    CharsRef whole(added ? ox_str_printf_new("%s%s", path.get(), added) : nullptr);
    if (whole && describe_path(question, whole)) return true;
    char* dot = strrchr(path, '.');
    if (!dot) return false;
    *dot = '\0';
    return describe_path(question, path);
}

bool is_offered(const ShellCommand& row, size_t at, void (*offered)(const TypedLine&, const Offer&)) {
    auto index = static_cast<int>(at);
    for (const Offer* offer = row.offers; offer && offer->offer; ++offer) {
        if (offer->offer == offered && index >= offer->first && index <= offer->last) return true;
    }
    return false;
}

const char* word_of(const Question& question, size_t at) {
    return json_string_value(json_array_get(question.words, at));
}

void describe(void* context) {
    const Question& question = *static_cast<Question*>(context);
    const char* first = word_of(question, 0);
    if (question.at == 0) {
        describe_commands(question, first);
        return;
    }
    const ShellCommand* row = command_lookup(first);
    if (!row) return;
    const char* word = word_of(question, question.at);
    if (word && is_offered(*row, question.at, offer_paths) && describe_word(question, word)) return;
    if (is_offered(*row, question.at, offer_method_arguments) &&
        describe_path(question, word_of(question, 1)))
        return;
    add_syntax(question.page, *row);
}

}  // namespace

char* describe_line(const char* line, int cursor, size_t columns) {
    if (!line || interrupt_armed) return nullptr;
    paths_refresh();
    CharsRef text(ox_memory_text_n(line, cursor > 0 ? static_cast<size_t>(cursor) : 0));
    unsigned at = 0;
    JsonRef words(line_split(text, static_cast<int>(strlen(text)), &at));
    StrRef page(ox_str_init());
    columns = columns > PAGE_COLUMNS_MAX ? static_cast<size_t>(PAGE_COLUMNS_MAX) : columns;
    Question question = {text, columns, words, at, page};
    if (!words || !key_wait(describe, &question) || ox_str_length(page) == 0) return nullptr;
    return ox_memory_text(ox_dynarray_get(page));
}
