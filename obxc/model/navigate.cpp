// The navigation commands: cd, up, pwd.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "model/path.hpp"
#include "ox_out.hpp"
#include "session/prompt.hpp"

namespace {

/// Makes `candidate` the current path and `saved` the previous one.
void move_to(const NodePath* candidate, const NodePath* saved) {
    NodePath old_current = current_path;
    NodePath old_previous = previous_path;
    path_copy(&current_path, candidate);
    path_copy(&previous_path, saved);
    paths_pin();
    // Only now: the old records may hold the last references on what the new ones name.
    path_free(&old_current);
    path_free(&old_previous);
}

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
        printf("syntax: %s [<path>]", name);  // without a newline, on purpose
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
    move_to(&candidate, &saved);
    prompt_rebuild();
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
