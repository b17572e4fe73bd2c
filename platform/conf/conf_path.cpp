#include <string.h>

#include "ox_conf_path.hpp"
#include "ox_tr_names.hpp"
#include "ox_tr_path.hpp"

json_t* ox_conf_find_branch(json_t* tree, const char* path) {
    json_t* node = tree;
    for (std::string_view name : ox_tr_components(path ? path : "")) {
        node = json_object_getn(node, name.data(), name.size());
    }
    return node;
}

void ox_conf_strip_path_adv(char* path, int /*flags*/, int keep_dot) {
    size_t length = ox_tr_path_parent(path);
    if (length > 0 && keep_dot) path[length++] = '.';
    path[length] = '\0';
}

int ox_conf_path_canonize(int /*flags*/, const char* in, char out[OX_CONF_PATH_SIZE]) {
    out[0] = '\0';
    for (std::string_view name : ox_tr_components(in + strspn(in, ":."))) {
        if (name.find_first_not_of('<') == std::string_view::npos) {
            for (size_t levels = name.size(); levels > 0; --levels) out[ox_tr_path_parent(out)] = '\0';
        } else if (!ox_tr_path_join(out, OX_CONF_PATH_SIZE, name == "*" ? OX_TR_TEMPLATE : name)) {
            out[0] = '\0';
            return -1;
        }
    }
    return 0;
}
