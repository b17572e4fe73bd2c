// Dotted paths and configuration trees.
#include <string.h>

#include "ox_confapi.hpp"

json_t* ox_conf_find_branch(json_t* tree, const char* path) {
    json_t* node = tree;
    while (node && path) {
        path += strspn(path, ".");
        size_t length = strcspn(path, ".");
        if (length == 0) break;
        node = json_object_getn(node, path, length);
        path += length;
    }
    return node;
}

void ox_conf_strip_path_adv(char* path, int /*flags*/, int keep_dot) {
    size_t length = strlen(path);
    while (length > 0 && path[length - 1] == '.') --length;
    while (length > 0 && path[length - 1] != '.') --length;
    while (length > 0 && path[length - 1] == '.') --length;
    if (length > 0 && keep_dot) path[length++] = '.';
    path[length] = '\0';
}

namespace {

/// Appends a component; false when it does not fit.
bool append(char out[OX_CONF_PATH_SIZE], const char* component, size_t length) {
    size_t used = strlen(out);
    size_t dot = used > 0 ? 1 : 0;
    if (used + dot + length >= OX_CONF_PATH_SIZE) return false;
    if (dot) out[used++] = '.';
    memcpy(out + used, component, length);
    out[used + length] = '\0';
    return true;
}

void climb(char* path, size_t levels) {
    for (; levels > 0 && *path; --levels) {
        char* dot = strrchr(path, '.');
        *(dot ? dot : path) = '\0';
    }
}

}  // namespace

int ox_conf_path_canonize(int /*flags*/, const char* in, char out[OX_CONF_PATH_SIZE]) {
    static const char any[] = "#template";
    out[0] = '\0';
    in += strspn(in, ":.");
    while (size_t length = strcspn(in, ".")) {
        bool fits = true;
        if (strspn(in, "<") >= length) {
            climb(out, length);
        } else if (length == 1 && *in == '*') {
            fits = append(out, any, sizeof(any) - 1);
        } else {
            fits = append(out, in, length);
        }
        if (!fits) {
            out[0] = '\0';
            return -1;
        }
        in += length;
        in += strspn(in, ".");
    }
    return 0;
}
