// Lists that are handed on while their text arrives: the same elements as those of the message read whole,
// wherever the text is cut.
#include <string.h>

#include "../../platform/global/jrpc/framing.hpp"
#include "fuzz.hpp"
#include "ox_raii.hpp"
#include "ox_socket.hpp"
#include "ox_tr_list.hpp"

namespace {

std::string text_of(const json_t* value) {
    CharsRef text(json_dumps(value, JSON_ENCODE_ANY | JSON_SORT_KEYS));
    return text.get() ? text.get() : "none";
}

void begin(void* context) {
    static_cast<std::string*>(context)->clear();
}

void take(void* context, const ox_list_element* element) {
    std::string& taken = *static_cast<std::string*>(context);
    REQUIRE(!element->name || strlen(element->name) <= element->name_length);
    if (element->name) taken.append(element->name, element->name_length + 1);
    taken += std::to_string(element->type) + ' ';
    REQUIRE((element->type == JSON_STRING) == (element->text != nullptr));
    if (element->text) taken.append(element->text, element->text_length + 1);
    taken += std::to_string(element->integer) + ' ' + text_of(element->value) + ' ' +
             text_of(element->attributes) + '\n';
}

const ox_list_taker* choose(void* context, const json_t*) {
    return static_cast<const ox_list_taker*>(context);
}

/// Reads the first message of a text that arrives in pieces. Null where it is none.
json_t* read(FrameReader* reader, std::string_view text, size_t step) {
    int state = OX_SOCKET_EEMPTY;
    while (!text.empty() && state != OX_SOCKET_OK && state != OX_SOCKET_EPROTO) {
        size_t room = 0;
        size_t count = text.size() < step ? text.size() : step;
        memcpy(frame_room(reader, count, &room), text.data(), count);
        frame_added(reader, count);
        text.remove_prefix(count);
        state = frame_find(reader);
    }
    return state == OX_SOCKET_OK ? frame_json(reader) : nullptr;
}

json_t* list_of(const JsonRef& message) {
    return ox_tr_result_list(json_object_get(message, "result"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    size_t step = input.number(64) + 1;
    std::string text = input.rest();
    std::string streamed, expected;
    ox_list_taker stream_taker = {begin, take, &streamed}, whole_taker = {begin, take, &expected};

    FrameReader whole = {}, pieces = {};
    JsonRef message(read(&whole, text, text.size()));
    pieces.json.elements.choose = choose;
    pieces.json.elements.context = &stream_taker;
    JsonRef rest(read(&pieces, text, step));
    REQUIRE(!message == !rest);
    if (message) {
        json_t* list = list_of(message);
        ox_list_hand_on(list, &whole_taker);
        REQUIRE(streamed == expected);
        if (json_is_array(list)) json_array_clear(list);
        REQUIRE(json_equal(message, rest));
    }
    frame_reset(&whole);
    frame_reset(&pieces);
    return 0;
}
