#include "commands/attr.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/attr_print.hpp"
#include "commands/words.hpp"
#include "complete/paths.hpp"
#include "model/cache.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_jrpccmd.hpp"
#include "ox_jrpcmsg.hpp"
#include "ox_raii.hpp"
#include "ox_tr.hpp"
#include "session/interrupt.hpp"
#include "session/request.hpp"

namespace {

enum { ATTR_TIMEOUT_MS = 1000 };

json_t* first_attributes(const ox_jrpcmsg* message) {
    const json_t* list = ox_tr_result_list(ox_jrpcmsg_get_result_json(message));
    return json_object_get(json_array_get(list, 0), OX_TR_ATTRIBUTES);
}

/// Attributes with permissions come from a daemon that gives all that it has, so it is asked for the details
/// too; a simpler one is asked for the bare attributes alone.
bool has_more(const json_t* attributes) {
    return json_object_get(attributes, "perms");
}

void ask_for_details(ox_jrpcmsg* message) {
    ox_jrpcmsg_add_parameter_json_new(message, OX_TR_DETAILS, json_true());
}

/// The node's attributes as the daemon tells them, else what the cache knows: a new reference, or null.
json_t* fetch_attributes(const NodePath* p) {
    char query[sizeof p->path + 1];
    snprintf(query, sizeof query, "%s%s", p->path, node_is_parameter(p->node) ? "" : ".");
    JsonRef names(json_array());
    json_array_append_new(names, json_string(query));
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(names.release(), 0));
    if (has_more(ox_tr_dm_node_attr_get(p->node))) ask_for_details(message);
    request_exec(message, ATTR_TIMEOUT_MS);
    json_t* attributes = first_attributes(message);
    if (attributes) return json_incref(attributes);
    attributes = json_deep_copy(ox_tr_dm_node_attr_get(p->node));
    json_object_set_new(attributes, "access", json_string("Denied"));
    return attributes;
}

int show_node(const char* command, const char* path) {
    ScopedPath p;
    if (path && p.node && path_resolve(&p, path) < 0) {
        printf("%s: %s: no such node\n", command, path);
        return -1;
    }
    if (path_is_root(&p)) {
        puts("Canonical path:     :");
        puts("Type:               config root");
        puts("Const:              true");
        return -1;  // nothing went wrong: it is the result that scripts have always got for the root
    }
    JsonRef attributes(fetch_attributes(&p));
    attr_print(p.path, p.node, attributes);
    return 0;
}

}  // namespace

int attr_command(const char* name, json_t* args) {
    if (json_array_size(args) < 2) return show_node(name, word_at(args, 0));
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) {
        const char* path = json_string_value(arg);
        printf("%s:\n", path ? path : "");
        show_node(name, path);
        putc('\n', stdout);
    }
    return 0;
}

int attr_request(const char* name, json_t* args) {
    MsgRef message(ox_jrpcmsg_cmd_get_parameter_attributes_new(json_incref(args), 0));
    request_exec(message, OX_JRPCAPI_TIMEOUT_MS);
    if (has_more(first_attributes(message))) {
        ask_for_details(message);
        request_exec(message, OX_JRPCAPI_TIMEOUT_MS);
    }
    if (message->error_code != 0) {
        printf("%s: ERROR\n", name);
        return -1;
    }
    size_t index;
    json_t* element;
    json_array_foreach(ox_tr_result_list(ox_jrpcmsg_get_result_json(message)), index, element) {
        const char* path = nullptr;
        json_t* attributes = nullptr;
        json_unpack(element, "{s : s, s : o}", OX_TR_NAME, &path, OX_TR_ATTRIBUTES, &attributes);
        if (!path && !attributes) continue;  // it tells nothing, however often it comes
        JsonRef node(json_pack("{s:O}", OX_TR_ATTR, attributes ? attributes : json_null()));
        attr_print(path ? path : "", node, attributes);
        putc('\n', stdout);
        interrupt_point();
    }
    return 0;
}

const Offer attr_offers[] = {{1, LAST_WORD, offer_paths, 0, nullptr}, {}};
