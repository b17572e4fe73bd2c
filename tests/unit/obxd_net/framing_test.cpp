#include "net/framing.hpp"

#include <gtest/gtest.h>
#include <string.h>

namespace {

using namespace obxd;

struct Row {
    const char* stream;
    std::vector<std::string> messages;
    Frame end;
};

const Row ROWS[] = {
    {"", {}, Frame::PARTIAL},
    {" \r\n\t", {}, Frame::PARTIAL},
    {"{}", {"{}"}, Frame::PARTIAL},
    {"{}{}\n{}", {"{}", "{}", "{}"}, Frame::PARTIAL},
    {"  {\"a\":{\"b\":{}}} {", {"{\"a\":{\"b\":{}}}"}, Frame::PARTIAL},
    {"{\"a\":\"}{\"}{\"b\":\"\\\"}\"}", {"{\"a\":\"}{\"}", "{\"b\":\"\\\"}\"}"}, Frame::PARTIAL},
    {"{\"a\":\"\\\\\"}x", {"{\"a\":\"\\\\\"}"}, Frame::NO_OBJECT},
    {"[1]", {}, Frame::NO_OBJECT},
    {"{}]", {"{}"}, Frame::NO_OBJECT},
    {"\x16\x03\x01", {}, Frame::NO_OBJECT},
};

Frame take_all(Input& input, std::vector<std::string>& messages) {
    std::string_view message;
    Frame frame = Frame::PARTIAL;
    while ((frame = input_next(input, message)) == Frame::MESSAGE) messages.emplace_back(message);
    return frame;
}

TEST(Framing, WholeStreams) {
    for (const Row& row : ROWS) {
        Input input;
        std::vector<std::string> messages;
        input_append(input, row.stream, strlen(row.stream));
        EXPECT_EQ(take_all(input, messages), row.end) << row.stream;
        EXPECT_EQ(messages, row.messages) << row.stream;
    }
}

TEST(Framing, SplitAtEveryByte) {
    for (const Row& row : ROWS) {
        Input input;
        std::vector<std::string> messages;
        Frame frame = Frame::PARTIAL;
        for (const char* c = row.stream; *c && frame == Frame::PARTIAL; c++) {
            input_append(input, c, 1);
            frame = take_all(input, messages);
        }
        EXPECT_EQ(frame, row.end) << row.stream;
        EXPECT_EQ(messages, row.messages) << row.stream;
    }
}

TEST(Framing, RefusesAMessageThatGrowsTooLong) {
    Input input;
    std::string block(1 << 20, 'x');
    std::string_view message;
    input_append(input, "{\"a\":\"", 6);
    for (int i = 0; i < 63; i++) {
        input_append(input, block.data(), block.size());
        ASSERT_EQ(input_next(input, message), Frame::PARTIAL);
    }
    input_append(input, block.data(), block.size());
    EXPECT_EQ(input_next(input, message), Frame::TOO_LONG);
}

TEST(Framing, TakesAMessageOfTheGreatestLength) {
    Input input;
    std::string text = "{\"a\":\"" + std::string(MAX_MESSAGE - 8, 'x') + "\"}";
    std::string_view message;
    input_append(input, text.data(), text.size());
    ASSERT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(message.size(), MAX_MESSAGE);
}

}  // namespace
