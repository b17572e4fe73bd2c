#include "event_queue.hpp"

#include <stdlib.h>
#include <string.h>

#include "ox_raii.hpp"

namespace {

enum { QUEUE_BYTES_MAX = 4 << 20 };

/// An event that waits: its text, parsed again when it is taken (a tenth of the memory of the parsed form).
struct QueuedEvent {
    QueuedEvent* next;
    size_t size;
    uint32_t group;
    char text[];
};

struct EventQueue {
    QueuedEvent* first;
    QueuedEvent* last;
    size_t bytes;
    size_t lost;  // dropped since somebody asked
};

EventQueue queue;
QueuedEvent* queue_take() {
    QueuedEvent* entry = queue.first;
    if (!entry) return nullptr;
    queue.first = entry->next;
    if (!queue.first) queue.last = nullptr;
    queue.bytes -= entry->size + sizeof(QueuedEvent);
    return entry;
}

/// The message of an event that was taken out, which is released.
ox_jrpcmsg* queued_message(QueuedEvent* entry) {
    ox_jrpcmsg* message = ox_jrpcmsg_adopt(json_loadb(entry->text, entry->size, JSON_ALLOW_NUL, nullptr));
    free(entry);
    return message;
}

/// The oldest give way to an event of that cost.
void queue_make_room(size_t cost) {
    while (queue.first && queue.bytes + cost > QUEUE_BYTES_MAX) {
        free(queue_take());
        queue.lost++;
    }
}

}  // namespace

void event_queue_add(const json_t* event, const char* text, size_t size) {
    char* dumped = text ? nullptr : json_dumps(event, JSON_COMPACT);
    if (dumped) {
        text = dumped;
        size = strlen(dumped);
    }
    size_t cost = size + sizeof(QueuedEvent);
    if (text) queue_make_room(cost);
    auto* entry = text ? static_cast<QueuedEvent*>(malloc(cost)) : nullptr;
    if (entry) {
        entry->next = nullptr;
        entry->size = size;
        entry->group = static_cast<uint32_t>(json_integer_value(json_object_get(event, "group")));
        memcpy(entry->text, text, size);
        (queue.last ? queue.last->next : queue.first) = entry;
        queue.last = entry;
        queue.bytes += cost;
    } else {
        queue.lost++;
    }
    free(dumped);
}

bool event_queue_is_empty(void) {
    return queue.first == nullptr;
}

ox_jrpcmsg* event_queue_pop(void) {
    QueuedEvent* entry = queue_take();
    return entry ? queued_message(entry) : nullptr;
}

void event_queue_take(uint32_t group, void (*take)(ox_jrpcmsg* message)) {
    QueuedEvent** link = &queue.first;
    QueuedEvent* last = nullptr;
    while (QueuedEvent* entry = *link) {
        if (entry->group != group) {
            last = entry;
            link = &entry->next;
            continue;
        }
        *link = entry->next;
        queue.bytes -= entry->size + sizeof(QueuedEvent);
        MsgRef message(queued_message(entry));
        if (message) take(message);
    }
    queue.last = last;
}

void event_queue_lose(void) {
    queue.lost++;
}

bool event_queue_has_lost(void) {
    return queue.lost > 0;
}

size_t event_queue_take_lost(void) {
    size_t lost = queue.lost;
    queue.lost = 0;
    return lost;
}

void event_queue_clear(void) {
    while (QueuedEvent* entry = queue_take()) free(entry);
    queue.lost = 0;
}
