#include "net/shares.hpp"

#include <malloc.h>

#include <algorithm>
#include <tuple>

namespace obxd {

namespace {

size_t over(size_t size, size_t own) {
    return size > own ? size - own : 0;
}

// What of the output are answers, but for the connection's own part.
size_t answers_of(const Connection& c) {
    return over(connection_pending(c), OWN_OUTPUT + c.pushed);
}

template <typename Size>
size_t sum_of_kind(const Server& server, const Connection& c, Size size) {
    size_t sum = 0;
    for (const auto& entry : server.connections)
        if (&share_of(*entry.second) == &share_of(c)) sum += size(*entry.second);
    return sum;
}

// The room that a connection waits for: more than it had when it gave up.
size_t wanted_room(const Connection& c) {
    return std::min({2 * c.gave_up, MAX_MESSAGE, share_of(c).output});
}

size_t room_left(const Server& server, const Connection& c) {
    size_t held = sum_of_kind(server, c, answers_of);
    return std::min(std::max(OWN_OUTPUT, over(share_of(c).output, held)), MAX_MESSAGE);
}

bool others_wait(const Server& server, const Connection& c) {
    if (server.waiting.empty()) return false;
    return sum_of_kind(server, c, [](const Connection& each) { return size_t{each.waiting}; }) > 0;
}

}  // namespace

const Share& share_of(const Connection& c) {
    return c.trusted ? ADMINISTRATORS_SHARE : c.known ? USERS_SHARE : GUESTS_SHARE;
}

bool share_takes_input(const Server& server, const Connection& c) {
    if (c.in.bytes.size < OWN_INPUT) return true;
    return sum_of_kind(server, c, [](const Connection& each) {
               return over(each.in.bytes.size, OWN_INPUT);
           }) < share_of(c).input;
}

size_t share_room(const Server& server, const Connection& c) {
    return !c.chosen && others_wait(server, c) ? OWN_OUTPUT : room_left(server, c);
}

void share_wait(Server& server, Connection& c) {
    c.waiting = true;
    // Who was chosen and still has too little room is the first again.
    server.waiting.insert(c.chosen ? server.waiting.begin() : server.waiting.end(), c.id);
}

void share_served(Connection& c) {
    c.chosen = false;
}

void share_wake(Server& server) {
    std::vector<const Share*> seen;
    auto goes_on = [&](uint64_t id) {
        Connection* c = server_find(server, id);
        if (!c) return true;
        if (std::find(seen.begin(), seen.end(), &share_of(*c)) != seen.end()) return false;
        seen.push_back(&share_of(*c));
        if (room_left(server, *c) < wanted_room(*c)) return false;
        c->waiting = false;
        c->chosen = true;
        server_wake(server, *c);
        return true;
    };
    std::erase_if(server.waiting, goes_on);
}

bool share_is_pressed(const Server& server, const Connection& c) {
    return answers_of(c) > 0 && others_wait(server, c);
}

// A single event may be as long as a message, so the bound is on what waited before it.
bool share_takes_event(const Server& server, const Connection& c) {
    if (c.pushed <= OWN_EVENTS) return true;
    if (c.pushed > CLIENT_EVENTS) return false;
    size_t all = 0;
    for (const auto& entry : server.connections) all += entry.second->pushed;
    return all <= ALL_EVENTS;
}

void share_drop_deaf(Server& server) {
    auto holds = [](const Connection& c) { return c.phase != Connection::DEAD && c.pushed > OWN_EVENTS; };
    while (server.events > EVENTS_SHARE) {
        size_t most = 0;
        for (const auto& entry : server.connections)
            if (holds(*entry.second)) most = std::max(most, entry.second->pushed);
        // Of those who hold about as much, the one who has read nothing for longest.
        Connection* deafest = nullptr;
        for (auto& entry : server.connections) {
            Connection& c = *entry.second;
            if (!holds(c) || c.pushed < most / 2) continue;
            if (!deafest || std::tie(c.progress, c.id) < std::tie(deafest->progress, deafest->id))
                deafest = &c;
        }
        if (!deafest) return;
        server_close(server, *deafest);
    }
}

void share_trim(Server& server) {
    if (!server.large) return;
    server.large = server.events > LARGE;
    for (const auto& entry : server.connections)
        server.large |= connection_pending(*entry.second) > LARGE || entry.second->in.bytes.size > LARGE;
    malloc_trim(0);
}

}  // namespace obxd
