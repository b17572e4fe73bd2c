#include "commands/navigate.hpp"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "complete/paths.hpp"
#include "model/candidates.hpp"
#include "model/current.hpp"
#include "model/node.hpp"
#include "model/resolve.hpp"
#include "ox_out.hpp"
#include "ox_raii.hpp"

namespace {

int report_no_such_node(const char* name, const char* path) {
    ox_out_text(name);
    fputs(": ", stdout);
    ox_out_text(path);
    fputs(": no such node\n", stdout);
    return -2;
}

}  // namespace

int cd_command(const char* name, json_t* args) {
    if (json_array_size(args) > 1) {
        printf("syntax: %s [<path>]", name);  // no newline: scripts compare this text
        return -1;
    }
    ScopedPath candidate;
    ScopedPath saved;
    json_t* argument = json_array_get(args, 0);
    if (!argument) {
        path_reset(&candidate);
    } else if (candidate.node) {
        const char* path = json_string_value(argument);
        if (path_resolve(&candidate, path) < 0) return report_no_such_node(name, path ? path : "");
    }
    current_move(&candidate, &saved);
    return 0;
}

int up_command(const char* name, json_t* args) {
    const char* text = json_string_value(json_array_get(args, 0));
    int levels = text ? atoi(text) : 1;  // NOLINT(cert-err34-c): no number counts as 0, which climbs one
    if (levels == 0) levels = 1;
    // No path is deeper than its text is long.
    char run[sizeof current_path.path] = "";
    if (levels >= static_cast<int>(sizeof run)) levels = sizeof run - 1;
    if (levels > 0) memset(run, '<', static_cast<size_t>(levels));
    JsonRef argument(json_pack("[s]", run));
    return cd_command(name, argument);
}

int pwd_command(const char* /*name*/, json_t* /*args*/) {
    putchar(':');
    ox_out_text(current_path.path);
    putchar('\n');
    return 0;
}

const Offer cd_offers[] = {{1, LAST_WORD, offer_paths, CANDIDATES_OBJECTS, nullptr}, {}};
