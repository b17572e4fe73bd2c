#include "commands/tree.hpp"

#include <stdio.h>
#include <string.h>

#include "commands/tree_draw.hpp"
#include "commands/words.hpp"
#include "complete/paths.hpp"
#include "model/cache.hpp"
#include "model/candidates.hpp"
#include "model/current.hpp"
#include "ox_conf_path.hpp"
#include "ox_confapi.hpp"
#include "ox_raii.hpp"
#include "ox_string.hpp"
#include "session/request.hpp"

namespace {

enum { TREE_VALUES = 1, TREE_SCHEME = 2 };
enum { TREE_PATH_SIZE = 257 };

/// The canonical path of an argument (null: the current node); false when it is too long.
bool canonical_path(const char* path, char out[TREE_PATH_SIZE]) {
    char full[TREE_PATH_SIZE];
    int length = path && path[0] == ':'
                     ? snprintf(full, sizeof full, "%s", path + 1)
                     : snprintf(full, sizeof full, "%s.%s", current_path.path, path ? path : "");
    if (length < 0 || length >= TREE_PATH_SIZE) return false;
    if (ox_conf_path_canonize(0, full, out) < 0) return false;
    if (!out[0]) ox_string_strlcpy(out, ".", TREE_PATH_SIZE);
    return true;
}

/// An unknown path draws what there is, and says nothing; an answer that never came is told of.
void tell_lost() {
    const ox_jrpcmsg* last = ox_confapi_get_last_message(nullptr);
    if (last && request_lost(last) && !last->error_detail) response_report(last);
}

void tree_show(const char* path, int flags) {
    char canonical[TREE_PATH_SIZE];
    if (!canonical_path(path, canonical)) return;
    bool values = flags & TREE_VALUES;
    JsonRef config(values ? _ox_confapi_getconfig_fullpath(canonical, 0) : nullptr);
    if (values && !config) tell_lost();
    ox_confapi_ignore_next_error_exec(1);
    JsonRef scheme(dm_schema_get(canonical));
    if (!scheme) tell_lost();
    const json_t* scheme_node = tree_descend(scheme, canonical);
    const json_t* root = values ? tree_descend(config, canonical) : scheme_node;
    if (root) tree_draw_root(root, scheme_node, canonical);
}

}  // namespace

int tree_command(const char* /*name*/, json_t* args) {
    tree_show(word_at(args, 0), TREE_SCHEME);
    return 0;
}

int catree_command(const char* /*name*/, json_t* args) {
    if (json_array_size(args) == 0) tree_show(".", TREE_VALUES | TREE_SCHEME);
    size_t index;
    json_t* arg;
    json_array_foreach(args, index, arg) tree_show(json_string_value(arg), TREE_VALUES | TREE_SCHEME);
    return 0;
}

const Offer tree_offers[] = {{1, LAST_WORD, offer_paths, CANDIDATES_OBJECTS, nullptr}, {}};
const Offer catree_offers[] = {{1, LAST_WORD, offer_paths, 0, nullptr}, {}};
