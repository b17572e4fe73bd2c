#include "commands/instances.hpp"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "commands/navigate.hpp"
#include "commands/words.hpp"
#include "complete/paths.hpp"
#include "model/candidates.hpp"
#include "model/changes.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_colors.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"
#include "ox_str.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "session/request.hpp"

namespace {

enum { OBJECT_PATH_SIZE = sizeof(NodePath::path) + 1 };

void execute_and_report(ox_jrpcmsg* message) {
    request_exec(message, -1);
    response_report(message);
}

/// Where a model is loaded, resolves `text` on the copy `p`; says so when that fails.
bool resolve_node(const char* command, NodePath* p, const char* text) {
    if (!p->node || path_resolve(p, text) == 0) return true;
    printf("%s: %s: no such node.\n", command, text);
    return false;
}

/// The path of the object that a resolved place names, with its final ".".
void object_path(const NodePath* p, char out[OBJECT_PATH_SIZE]) {
    snprintf(out, OBJECT_PATH_SIZE, "%s%s", p->path, ox_tr_path_is_partial(p->path) ? "" : ".");
}

int exec_add(const char* path) {
    MsgRef message(ox_jrpcmsg_cmd_add_object(path));
    request_exec(message, -1);
    int number = 0;
    json_unpack(ox_jrpcmsg_get_result_json(message), "{s : i}", OX_TR_INSTANCE_NUMBER, &number);
    if (number > 0) {
        fputs("Instance number:", stdout);
        ox_colors_set(OX_COLOR_NUMBER);
        printf(" %d\n", number);
        ox_colors_reset();
        model_instance_added(path, number);
    }
    response_report(message);
    return number;
}

/// The path that names what is to be deleted: parameters without, objects with a final ".".
void deleted_path(const NodePath* p, char out[OBJECT_PATH_SIZE]) {
    if (!node_is_parameter(p->node)) {
        object_path(p, out);
        return;
    }
    size_t length = strlen(p->path);
    if (ox_tr_path_is_partial(p->path)) length--;
    snprintf(out, OBJECT_PATH_SIZE, "%.*s", static_cast<int>(length), p->path);
}

void exec_delete(const char* path) {
    MsgRef message(ox_jrpcmsg_cmd_delete_object(path));
    execute_and_report(message);
    if (message->error_code == 0) model_instance_deleted(path);
}

void exec_order(const char* name, uint64_t number) {
    MsgRef message(ox_jrpcmsg_cmd_set_parameter_values_new(nullptr));
    json_t* value = json_integer(static_cast<json_int_t>(number));
    ox_jrpcmsg_cmd_set_parameter_values_add_new(message, name, value);
    execute_and_report(message);
}

}  // namespace

int add_command(const char* name, json_t* args) {
    if (json_array_size(args) > 2) {
        printf("syntax: %s <path> [<order_num>]\n", name);
        return -1;
    }
    const char* path = json_array_size(args) > 0 ? word_at(args, 0) : ".";
    ScopedPath p;
    if (!resolve_node(name, &p, path)) return -1;
    if (!p.node) return exec_add(path);
    char object[OBJECT_PATH_SIZE];
    object_path(&p, object);
    return exec_add(object);
}

int take_command(const char* name, json_t* args) {
    const char* path = json_array_size(args) > 0 ? word_at(args, 0) : ".";
    StrRef target(ox_str_init_chars(path ? path : ""));
    int number = add_command(name, args);
    if (number <= 0) return -1;
    if (ox_tr_path_is_full(ox_dynarray_get(target))) ox_str_add(target, ".");
    ox_str_printf_append(target, "%d", number);
    JsonRef words(json_pack("[s]", ox_dynarray_get(target)));
    return cd_command(name, words);
}

int del_command(const char* name, json_t* args) {
    if (json_array_size(args) != 1) {
        printf("syntax: %s <path>\n", name);
        return -1;
    }
    const char* path = word_at(args, 0);
    ScopedPath p;
    if (!resolve_node(name, &p, path)) return -1;
    if (!p.node) {
        exec_delete(path);
        return 0;
    }
    char deleted[OBJECT_PATH_SIZE];
    deleted_path(&p, deleted);
    exec_delete(deleted);
    return 0;
}

int order_command(const char* name, json_t* args) {
    if (json_array_size(args) != 2) {
        printf("syntax: %s <path> <order_num>\n", name);
        return -1;
    }
    const char* path = word_at(args, 0);
    const char* order = word_at(args, 1);
    uint64_t number = 0;
    int rc = ox_string_strntoul(order, static_cast<int>(strlen(order)), 10, &number);
    if (rc < 0 || number > INT64_MAX) {  // a JSON integer is signed
        printf("%s: invalid order integer: %s\n", name, order);
        return -1;
    }
    ScopedPath p;
    if (!resolve_node(name, &p, path)) return -1;
    if (p.node && path_resolve(&p, OX_TR_INDEX) < 0) {
        printf("%s: %s: is not an ordered instance.\n", name, path);
        return -1;
    }
    exec_order(p.node ? p.path : path, number);
    return 0;
}

const Offer add_offers[] = {{1, LAST_WORD, offer_paths, CANDIDATES_OBJECTS, nullptr}, {}};
const Offer del_offers[] = {{1, LAST_WORD, offer_paths, 0, nullptr}, {}};
const Offer order_offers[] = {{1, 1, offer_paths, 0, nullptr}, {}};
