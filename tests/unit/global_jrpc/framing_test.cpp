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
        EXPECT_NE(text, nullptr);
        json_t* json = frame_json(reader);
        EXPECT_TRUE(json_is_object(json));
        json_decref(json);
        found.emplace_back(text ? text : "", text ? size : 0);
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
    {"{\"a\":[}", {}, OX_SOCKET_EPROTO},
    {"{\"a\":1,", {}, OX_SOCKET_EPARTIAL},
    {"{\"a\":1,,", {}, OX_SOCKET_EPROTO},  // broken before its end is there
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

TEST(Framing, ReadsBigTextsAndDropsThemMeanwhile) {
    FrameReader reader = {};
    std::string text = "{\"first\":1}{\"list\":[";
    for (int i = 0; i < 400000; ++i) text += (i ? "," : "") + std::to_string(i);
    text += "]}{\"next\":1}";
    ASSERT_GT(text.size(), size_t{2 << 20});
    std::vector<json_t*> found;
    for (size_t at = 0; at < text.size(); at += 1000) {
        add(&reader, text.substr(at, 1000));
        while (frame_find(&reader) == OX_SOCKET_OK) {
            size_t size = 0;
            EXPECT_EQ(frame_text(&reader, &size) != nullptr, found.size() != 1) << found.size();
            found.push_back(frame_json(&reader));
            frame_consume(&reader);
        }
        ASSERT_LE(reader.bytes.capacity, size_t{256 << 10});
    }
    ASSERT_EQ(found.size(), 3U);
    json_t* list = json_object_get(found[1], "list");
    EXPECT_EQ(json_array_size(list), 400000U);
    EXPECT_EQ(json_integer_value(json_array_get(list, 399999)), 399999);
    EXPECT_EQ(json_integer_value(json_object_get(found[2], "next")), 1);
    for (json_t* json : found) json_decref(json);
    EXPECT_EQ(reader.bytes.data, nullptr);
    frame_reset(&reader);
}

TEST(Framing, RefusesBrokenObjects) {
    for (const char* text : {"{a}", "{\"a\":01}", "{\"a\":\"\xff\"}", "{\"a\":[}", "{,}"}) {
        FrameReader reader = {};
        add(&reader, text);
        EXPECT_EQ(frame_find(&reader), OX_SOCKET_EPROTO) << text;
        EXPECT_EQ(frame_find(&reader), OX_SOCKET_EPROTO) << text << ": it stays so";
        EXPECT_EQ(frame_fault_of(&reader), FRAME_BROKEN) << text;
        frame_reset(&reader);
    }
    FrameReader reader = {};
    add(&reader, "{\"a\":9223372036854775808}");
    EXPECT_EQ(frame_find(&reader), OX_SOCKET_EPROTO);
    EXPECT_EQ(frame_fault_of(&reader), FRAME_NUMBER);
    frame_reset(&reader);
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
    frame_reset(&reader);
}

}  // namespace
