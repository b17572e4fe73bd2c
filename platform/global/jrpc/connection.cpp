#include "connection.hpp"

#include <stdlib.h>
#include <string.h>

#include "ox_log.hpp"

namespace {

ox_jrpcapi* first_connection = nullptr;

uint32_t* find_group(const ox_array<uint32_t>& groups, uint32_t group) {
    for (uint32_t& joined : groups) {
        if (joined == group) return &joined;
    }
    return nullptr;
}

}  // namespace

ox_jrpcapi* connections_first(void) {
    return first_connection;
}

ox_jrpcapi* connection_new(void) {
    auto* api = static_cast<ox_jrpcapi*>(calloc(1, sizeof(ox_jrpcapi)));
    __ox_log_assert(api != nullptr, "api != NULL", "ox_jrpcapi", __LINE__, __func__, "out of memory");
    api->socket.fd = -1;
    ox_jrpcapi** end = &first_connection;
    while (*end) end = &(*end)->next;
    return *end = api;
}

void connection_free(ox_jrpcapi* api) {
    for (ox_jrpcapi** link = &first_connection; *link; link = &(*link)->next) {
        if (*link != api) continue;
        *link = api->next;
        break;
    }
    free(api->destination);
    free(api->auth);
    free(api->login);
    free(api->password);
    api->groups.clear();
    free(api);
}

void connection_set_text(char** place, const char* text) {
    char* copy = text ? strdup(text) : nullptr;
    __ox_log_assert(copy || !text, "copy != NULL", "ox_jrpcapi", __LINE__, __func__, "out of memory");
    free(*place);
    *place = copy;
}

void connection_note_unanswered(ox_jrpcapi* api, json_t* id) {
    if (!api->unanswered) api->unanswered = json_array();
    json_array_append(api->unanswered, id);
}

bool connection_is_unanswered(const ox_jrpcapi* api, const json_t* id) {
    for (size_t i = 0; i < json_array_size(api->unanswered); ++i) {
        if (json_equal(json_array_get(api->unanswered, i), id)) return true;
    }
    return false;
}

bool connection_note_answered(const ox_jrpcapi* api, const json_t* response) {
    const json_t* id = json_object_get(response, "id");
    for (size_t i = 0; i < json_array_size(api->unanswered); ++i) {
        if (!json_equal(json_array_get(api->unanswered, i), id)) continue;
        json_array_remove(api->unanswered, i);
        return true;
    }
    return false;
}

void connection_note_groups(ox_jrpcapi* api, const ox_jrpcmsg* message) {
    const char* method = json_string_value(json_object_get(message->json, "method"));
    if (!method || message->error_code != 0) return;
    bool join = strcmp(method, "JoinGroup") == 0;
    if (!join && strcmp(method, "LeaveGroup") != 0) return;
    const json_t* params = json_object_get(message->json, "params");
    auto group = static_cast<uint32_t>(json_integer_value(json_object_get(params, "Group")));
    uint32_t* found = find_group(api->groups, group);
    if (!join && found) *found = api->groups[--api->groups.size];
    if (join && !found) api->groups.append(&group, 1);
}

bool connection_is_in_group(const ox_jrpcapi* api, uint32_t group) {
    return find_group(api->groups, group) != nullptr;
}
