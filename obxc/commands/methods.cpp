#include "commands/methods.hpp"

#include <stdio.h>

#include "commands/tree_draw.hpp"
#include "commands/words.hpp"
#include "complete/paths.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_confapi.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"
#include "ox_str.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

/// The value of an input argument: a new value, or null after saying why there is none.
json_t* argument_value(const char* command, const NodePath* input, const Assignment& assignment) {
    ScopedPath p(input);
    if (path_resolve(&p, assignment.path) < 0) {
        printf("%s: %s: no such node.\n", command, assignment.path);
        return nullptr;
    }
    return assignment_value(command, assignment, ox_tr_dm_node_default_get(p.node));
}

/// Adds the argument that a word like "path=value" gives. False after saying what is wrong with it.
bool add_argument(const char* command, const NodePath* input, const char* word, json_t* list) {
    Assignment assignment;
    if (!assignment_split(command, word, &assignment)) return false;
    json_t* value = argument_value(command, input, assignment);
    if (value) json_array_append_new(list, ox_tr_value_element_new(assignment.path, value));
    return value != nullptr;
}

/// Gathers the input arguments behind the method's path. False after saying what is wrong with them.
bool gather_arguments(const char* command, NodePath* method, json_t* args, json_t* list) {
    if (!method->node || path_resolve(method, OX_TR_INPUT) < 0) {
        if (json_array_size(args) < 2) return true;
        printf("%s: this method does not have input arguments.\n", command);
        return false;
    }
    for (size_t i = 1; i < json_array_size(args); i++) {
        const char* word = word_at(args, i);
        if (!word || !add_argument(command, method, word, list)) return false;
    }
    path_resolve(method, "<");
    return true;
}

/// Draws the output parameters of an answer, or reports one that has none.
int show_answer(const ox_jrpcmsg* message, const char* path) {
    if (ox_jrpcmsg_typeof(message) == OX_JRPCMSG_RESULT) {
        const json_t* list = ox_tr_result_list(ox_jrpcmsg_get_result_json(message));
        if (json_array_size(list) > 0) {
            JsonRef config(ox_tr_namevalues_to_config(list, nullptr));
            if (config) tree_draw_root(config, nullptr, path);
            return 0;
        }
    }
    response_report(message);
    return -1;
}

}  // namespace

int execute_command(const char* name, json_t* args) {
    const char* path = word_at(args, 0);
    if (!path || !path[0]) {
        printf("%s: no method.\n", name);
        return -1;
    }
    ScopedPath method;
    if (method.node && path_resolve(&method, path) < 0) {
        printf("%s: %s: no such method.\n", name, path);
        return -1;
    }
    method.input_allowed = 1;
    JsonRef list(json_array());
    if (!gather_arguments(name, &method, args, list)) return -1;
    if (json_array_size(list) == 0) list.reset();
    const char* root = ".";  // the root has no text of its own
    const char* target = !method.node ? path : *method.path ? method.path : root;
    MsgRef message(ox_jrpcmsg_cmd_execute_new(target, json_incref(list)));
    request_exec(message, -1);
    return show_answer(message, target);
}

int select_command(const char* name, json_t* args) {
    StrRef selector(ox_str_json_join(args, " "));
    if (!selector) {
        printf("syntax: %s <selector>\n", name);
        return -1;
    }
    ox_confapi_ignore_next_error_exec(1);  // what is wrong with a selector is told once, below
    JsonRef model(dm_schema_get(ox_dynarray_get(selector)));
    JsonRef matches(ox_confapi_select_new(ox_dynarray_get(selector), 0, 0));
    if (!matches) {
        const ox_jrpcmsg* failed = ox_confapi_get_last_message(nullptr);
        if (failed) response_report(failed);
        return -1;
    }
    const char* path;
    json_t* value;
    json_object_foreach(matches, path, value) tree_draw_root(value, tree_descend(model, path), path);
    return 0;
}

const Offer execute_offers[] = {
    {1, 1, offer_paths, 0, nullptr}, {2, LAST_WORD, offer_method_arguments, 0, nullptr}, {}};
const Offer select_offers[] = {{1, LAST_WORD, offer_paths, 0, nullptr}, {}};
