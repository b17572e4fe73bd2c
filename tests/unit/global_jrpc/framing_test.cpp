#include "platform/global/jrpc/framing.hpp"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "ox_socket.hpp"

namespace {

void add(FrameReader* reader, const std::string& bytes) {
    if (bytes.empty()) return;
    size_t room = 0;
    char* place = frame_room(reader, bytes.size(), &room);
    ASSERT_NE(place, nullptr);
    ASSERT_GE(room, bytes.size());
    memcpy(place, bytes.data(), bytes.size());
    frame_added(reader, bytes.size());
}

/// All objects that are whole, and the state at the end.
std::vector<std::string> take_all(FrameReader* reader, int* state) {
    std::vector<std::string> found;
    while ((*state = frame_find(reader)) == OX_SOCKET_OK) {
        size_t size = 0;
        const char* text = frame_text(reader, &size);
        found.emplace_back(text, size);
        frame_consume(reader);
    }
    return found;
}

struct Case {
    const char* bytes;
    std::vector<std::string> objects;
    int state;
};

const Case cases[] = {
    {"", {}, OX_SOCKET_EEMPTY},
    {" \r\n\t\n", {}, OX_SOCKET_EEMPTY},
    {"{}", {"{}"}, OX_SOCKET_EEMPTY},
    {"{}{}\n{}", {"{}", "{}", "{}"}, OX_SOCKET_EEMPTY},
    {"\n\n{\"a\":1}\n \n", {"{\"a\":1}"}, OX_SOCKET_EEMPTY},
    {"{\"a\":{\"b\":{}}}{", {"{\"a\":{\"b\":{}}}"}, OX_SOCKET_EPARTIAL},
    {"{\"}\":\"{\"}", {"{\"}\":\"{\"}"}, OX_SOCKET_EEMPTY},
    {R"({"a":"\"}\\"}{"b")", {R"({"a":"\"}\\"})"}, OX_SOCKET_EPARTIAL},
    {R"({"a":"\\\"}")", {}, OX_SOCKET_EPARTIAL},
    {"{\"a\":[}", {"{\"a\":[}"}, OX_SOCKET_EEMPTY},  // its end is found; the parser refuses it
    {"[1]", {}, OX_SOCKET_EPROTO},
    {"{}x", {"{}"}, OX_SOCKET_EPROTO},
    {"\"{}\"", {}, OX_SOCKET_EPROTO},
    {"\x15\x03\x01", {}, OX_SOCKET_EPROTO},
};

TEST(Framing, FindsObjectsInOnePiece) {
    for (const Case& row : cases) {
        FrameReader reader = {};
        int state = 0;
        add(&reader, row.bytes);
        EXPECT_EQ(take_all(&reader, &state), row.objects) << row.bytes;
        EXPECT_EQ(state, row.state) << row.bytes;
        frame_reset(&reader);
    }
}

TEST(Framing, FindsTheSameByteByByte) {
    for (const Case& row : cases) {
        FrameReader reader = {};
        int state = OX_SOCKET_EEMPTY;
        std::vector<std::string> found;
        for (const char* byte = row.bytes; *byte && state != OX_SOCKET_EPROTO; ++byte) {
            add(&reader, std::string(1, *byte));
            for (const std::string& object : take_all(&reader, &state)) found.push_back(object);
        }
        EXPECT_EQ(found, row.objects) << row.bytes;
        EXPECT_EQ(state, row.state) << row.bytes;
        frame_reset(&reader);
    }
}

TEST(Framing, BoundsAMessage) {
    FrameReader reader = {};
    std::string text = "{\"a\":\"" + std::string(FRAME_MESSAGE_MAX - 8, 'x') + "\"}";
    add(&reader, text);
    EXPECT_EQ(frame_find(&reader), OX_SOCKET_OK);  // exactly as long as allowed
    frame_reset(&reader);
    text.insert(6, "x");
    add(&reader, text);
    EXPECT_EQ(frame_find(&reader), OX_SOCKET_EPROTO);
    frame_reset(&reader);
    text.resize(FRAME_MESSAGE_MAX + 1);  // and one that never ends
    add(&reader, text);
    EXPECT_EQ(frame_find(&reader), OX_SOCKET_EPROTO);
    frame_reset(&reader);
}

TEST(Framing, ParsesBigTextsAndReleasesTheStorage) {
    FrameReader reader = {};
    std::string text = "{\"list\":[";
    for (int i = 0; i < 400000; ++i) text += (i ? "," : "") + std::to_string(i);
    text += "]}";
    ASSERT_GT(text.size(), size_t{2 << 20});
    add(&reader, "{\"first\":1}" + text + "{\"next\":1}");
    ASSERT_EQ(frame_find(&reader), OX_SOCKET_OK);
    frame_consume(&reader);
    ASSERT_EQ(frame_find(&reader), OX_SOCKET_OK);
    bool kept = true;
    json_t* json = frame_parse(&reader, &kept);
    ASSERT_NE(json, nullptr);
    json_t* list = json_object_get(json, "list");
    EXPECT_EQ(json_array_size(list), 400000U);
    EXPECT_EQ(json_integer_value(json_array_get(list, 399999)), 399999);
    json_decref(json);
    frame_consume(&reader);
    ASSERT_EQ(frame_find(&reader), OX_SOCKET_OK);
    json = frame_parse(&reader, &kept);
    EXPECT_TRUE(kept);
    EXPECT_EQ(json_integer_value(json_object_get(json, "next")), 1);
    json_decref(json);
    frame_consume(&reader);
    EXPECT_EQ(reader.data, nullptr);
}

TEST(Framing, RefusesBrokenObjects) {
    for (const char* text : {"{a}", "{\"a\":01}", "{\"a\":\"\xff\"}", "{\"a\":[}", "{,}"}) {
        FrameReader reader = {};
        bool kept = false;
        add(&reader, text);
        ASSERT_EQ(frame_find(&reader), OX_SOCKET_OK) << text;
        EXPECT_EQ(frame_parse(&reader, &kept), nullptr) << text;
        frame_reset(&reader);
    }
}

TEST(Framing, ManySmallMessagesCostTheirLength) {
    FrameReader reader = {};
    std::string burst;
    for (int i = 0; i < 50000; ++i) burst += "{\"i\":1}";
    size_t taken = 0;
    for (int round = 0; round < 20; ++round) {
        int state = 0;
        add(&reader, burst);
        taken += take_all(&reader, &state).size();
    }
    EXPECT_EQ(taken, 1000000U);
}

}  // namespace
