#include "model/node_fetch.hpp"

#include <stdint.h>
#include <string.h>

#include <new>

#include "model/cache.hpp"
#include "model/fetch.hpp"
#include "model/node.hpp"
#include "model/node_fill.hpp"
#include "model/path.hpp"
#include "ox_socket.hpp"
#include "ox_string.hpp"
#include "ox_tr.hpp"
#include "session/background.hpp"
#include "session/request.hpp"

namespace {

/// The node of the path's component `index` (0: the root).
json_t* ancestor(const NodePath* p, size_t index) {
    size_t depth = json_array_size(p->parents);
    return index < depth ? json_array_get(p->parents, depth - 1 - index) : p->node;
}

/// The path's text, with "#template" in place of the numbers of instances that the cache knows by their
/// template alone: asking for such an instance would empty the template. False when that gets too long.
bool template_path(const NodePath* p, char out[FETCH_QUERY_SIZE]) {
    size_t index = 0;
    out[0] = '\0';
    for (std::string_view component : ox_tr_components(p->path)) {
        const json_t* pattern = json_object_get(ancestor(p, index++), OX_TR_TEMPLATE);
        bool known = json_object_getn(ancestor(p, index - 1), component.data(), component.size());
        bool is_template = pattern && !known && pattern == ancestor(p, index);
        if (!ox_tr_path_join(out, FETCH_QUERY_SIZE - 1, is_template ? OX_TR_TEMPLATE : component))
            return false;
    }
    return true;
}

void query_path(const NodePath* p, char out[FETCH_QUERY_SIZE]) {
    if (!p->path[0]) {
        ox_string_strlcpy(out, ".", FETCH_QUERY_SIZE);
        return;
    }
    if (!template_path(p, out)) ox_string_strlcpy(out, p->path, FETCH_QUERY_SIZE);
    if (ox_tr_path_is_full(out)) ox_string_strlcat(out, ".", FETCH_QUERY_SIZE);
}

/// What is asked for below or at a place.
struct Wanted {
    char query[FETCH_QUERY_SIZE];
    bool multi;
    bool is_template;
};

/// What was begun for hints. The place holds references: its node may have left the cache meanwhile.
struct Begun {
    bool on;  // for who asks just now
    NodePath place;
    Wanted wanted;
    Fetch* fetch;  // in `storage`, or null
    bool fills;    // it has ended, and the place is being filled with it
    alignas(Fetch) char storage[sizeof(Fetch)];
} begun;

void begin_step() {
    fetch_ask(begun.fetch);
    if (!request_begin(begun.fetch->message, &begun.fetch->taker)) fetch_drop();
}

void begin(const NodePath* p, const Wanted& wanted) {
    if (begun.fetch) return;
    path_copy(&begun.place, p);
    begun.wanted = wanted;
    begun.fetch = new (begun.storage) Fetch(wanted.query, wanted.multi);
    begin_step();
}

bool is_begun(const Wanted& wanted) {
    return begun.fetch && begun.wanted.multi == wanted.multi && strcmp(begun.wanted.query, wanted.query) == 0;
}

/// Waits for what was begun until it is through. A jump leaves the request underway. False when it did not
/// come, but for a silent daemon: it is worth to be asked again.
bool finish_begun() {
    while (begun.fetch && begun.fetch->step != FETCH_STEP_END) {
        request_finish(begun.fetch->message);
        bool late = begun.fetch->message->error_code == OX_SOCKET_ETIMEOUT;
        fetch_take(begun.fetch);
        if (begun.fetch->outcome == FETCH_LOST && !late) {
            fetch_drop();
            return false;
        }
        if (begun.fetch->step != FETCH_STEP_END) begin_step();
    }
    return begun.fetch;
}

bool fill(NodePath* p, const Wanted& wanted, Fetch* fetch) {
    if (wanted.is_template) return node_fill_template(p, *fetch);
    if (fetch->outcome == FETCH_LOST) {
        node_fill_lost(p);
        return false;
    }
    node_fill_begin(p, *fetch);
    return node_fill_some(p, fetch, SIZE_MAX);
}

/// Fills the place with what was begun and has come.
bool fill_with_begun(NodePath* p, const Wanted& wanted) {
    bool filled = begun.fills ? node_fill_some(p, begun.fetch, SIZE_MAX) : fill(p, wanted, begun.fetch);
    fetch_drop();
    return filled;
}

/// Asks for it and fills the place.
bool fetch_wanted(NodePath* p, const Wanted& wanted) {
    if (begun.on) {
        begin(p, wanted);
        return false;
    }
    // What an old node has got already would be missing in the one that has taken its place.
    if (begun.fills && begun.place.node != p->node) fetch_drop();
    if (is_begun(wanted) && finish_begun()) return fill_with_begun(p, wanted);
    Fetch fetch(wanted.query, wanted.multi);
    while (fetch.step != FETCH_STEP_END) {
        fetch_ask(&fetch);
        request_exec_list(fetch.message, -1, &fetch.taker);
        fetch_take(&fetch);
    }
    return fill(p, wanted, &fetch);
}

}  // namespace

void node_fetch(NodePath* p) {
    if (!p->node) p->node = json_object();
    Wanted wanted = {"", p->multi != 0, false};
    query_path(p, wanted.query);
    fetch_wanted(p, wanted);
}

bool node_fetch_template(NodePath* p) {
    if (!p->multi || node_is_fetched(p->node)) return false;
    Wanted wanted = {"", false, true};
    query_path(p, wanted.query);
    ox_string_strlcat(wanted.query, OX_TR_TEMPLATE, sizeof wanted.query);
    if (ox_string_strlcat(wanted.query, ".", sizeof wanted.query) >= sizeof wanted.query) return false;
    return fetch_wanted(p, wanted);
}

void fetch_in_background(bool on) {
    begun.on = on;
}

bool fetch_is_in_background(void) {
    return begun.on;
}

bool fetch_continue(void) {
    // So few that no key waits for them.
    enum { ROWS_AT_ONCE = 500 };
    if (!begun.fetch || request_is_underway(begun.fetch->message)) return false;
    if (!begun.fills) {
        fetch_take(begun.fetch);
        if (begun.fetch->step != FETCH_STEP_END) {
            begin_step();
            return !begun.fetch;
        }
        // What was not reached stays as it was, so that the next Tab asks for it.
        begun.fills = begun.fetch->outcome != FETCH_LOST && !begun.wanted.is_template;
        if (begun.fills) node_fill_begin(&begun.place, *begun.fetch);
        if (begun.wanted.is_template) node_fill_template(&begun.place, *begun.fetch);
    }
    if (begun.fills && !node_fill_some(&begun.place, begun.fetch, ROWS_AT_ONCE)) return false;
    fetch_drop();
    return true;
}

bool fetch_goes_on(void) {
    return begun.fills;
}

void fetch_doubt(const char* path) {
    if (!begun.fetch || !begun.wanted.multi) return;
    const char* query = begun.wanted.query;
    if (strncmp(path, query, strlen(query)) == 0) fetch_drop();
}

void fetch_drop(void) {
    if (!begun.fetch) return;
    if (begun.fetch->message) request_abandon(begun.fetch->message);
    begun.fetch->~Fetch();
    begun.fetch = nullptr;
    begun.fills = false;
    path_free(&begun.place);
    begun.place = {};
}
