#include "commands/set.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/words.hpp"
#include "complete/paths.hpp"
#include "model/candidates.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

/// The pair for a node of the model: a new object, or null after saying why not.
json_t* model_pair(const char* command, const Assignment& assignment) {
    ScopedPath p;
    if (path_resolve(&p, assignment.path) < 0) {
        printf("%s: %s: no such node.\n", command, assignment.path);
        return nullptr;
    }
    const json_t* fallback = node_is_parameter(p.node) ? ox_tr_dm_node_default_get(p.node) : nullptr;
    return ox_tr_value_element_new(p.path, assignment_value(command, assignment, fallback));
}

json_t* parse_pair(const char* command, const char* word) {
    Assignment assignment;
    if (!assignment_split(command, word, &assignment)) return nullptr;
    if (current_path.node) return model_pair(command, assignment);
    // Without a model the value is written as JSON. An integer beyond those of JSON is told; any other text
    // that is not JSON is left out without a message.
    json_error_t error;
    json_t* value = json_loads(assignment.text, JSON_DECODE_ANY, &error);
    if (!value && json_error_code(&error) == json_error_numeric_overflow)
        printf("%s: %s: invalid value %s.\n", command, assignment.path, assignment.text);
    return ox_tr_value_element_new(assignment.path, value);
}

/// The assignments that are valid: a new array, or null when there are none.
json_t* parse_pairs(const char* command, json_t* args) {
    JsonRef list(json_array());
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) {
        const char* word = json_string_value(arg);
        if (!word) break;
        json_t* pair = parse_pair(command, word);
        if (pair) json_array_append_new(list, pair);
    }
    if (json_array_size(list) > 0) return list.release();
    printf("%s: no argument.\n", command);
    return nullptr;
}

}  // namespace

int set_command(const char* name, json_t* args) {
    JsonRef list(parse_pairs(name, args));
    if (!list) return -1;
    MsgRef message;
    if (strcmp(name, "set") == 0) {
        message.reset(ox_jrpcmsg_cmd_set_parameter_values_new(json_incref(list)));
    } else {
        json_t* params = json_pack("{s:O}", OX_TR_PARAMETER_LIST, list.get());
        message.reset(ox_jrpcmsg_create_new("RawSetParameterValues", params));
    }
    request_exec(message, -1);
    response_report(message);
    return 0;
}

const Offer set_offers[] = {{1, LAST_WORD, offer_paths, CANDIDATES_WRITABLE, nullptr}, {}};
