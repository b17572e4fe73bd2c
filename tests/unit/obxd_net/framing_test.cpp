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

TEST(Framing, BackslashesAnywhereInAText) {
    for (size_t pairs = 0; pairs < 4; pairs++) {
        for (const char* end : {"\"}", "\\\"\"}", "x\"}", "\\\"}\"}"}) {
            std::string text = "{\"a\":\"" + std::string(2 * pairs, '\\') + end;
            for (size_t split = 0; split <= text.size(); split++) {
                Input input;
                std::string_view message;
                input_append(input, text.data(), split);
                if (split < text.size()) {
                    ASSERT_EQ(input_next(input, message), Frame::PARTIAL) << text << " " << split;
                    input_append(input, text.data() + split, text.size() - split);
                }
                ASSERT_EQ(input_next(input, message), Frame::MESSAGE) << text << " " << split;
                EXPECT_EQ(message, text);
            }
        }
    }
}

TEST(Framing, CountsTheValuesOfEachMessage) {
    const std::pair<const char*, size_t> rows[] = {
        {"{}", 1}, {"{\"a\":1,\"b\":[1,2]}", 4}, {"{\"a\":[{},{},{}]}", 7}, {"{\"a,{[\":\",{[\"}", 1}};
    Input input;
    for (auto& [text, values] : rows) {
        std::string_view message;
        for (const char* c = text; *c; c++) {
            input_append(input, c, 1);
            if (!c[1]) break;
            ASSERT_EQ(input_next(input, message), Frame::PARTIAL);
        }
        ASSERT_EQ(input_next(input, message), Frame::MESSAGE);
        EXPECT_EQ(input.values, values) << text;
    }
}

TEST(Framing, AMessageThatIsGivenBackComesAgain) {
    Input input;
    std::string_view message;
    std::string stream = "{\"a\":1}{\"b\":[1,2]}{\"c\":";
    input_append(input, stream.data(), stream.size());
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    for (int i = 0; i < 2; i++) {
        input_give_back(input, message.size());
        input_append(input, " ", 1);
        EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
        EXPECT_EQ(message, "{\"b\":[1,2]}");
        EXPECT_EQ(input.values, 3u);
    }
    EXPECT_EQ(input_next(input, message), Frame::PARTIAL);
    input_append(input, "1}", 2);
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(message, "{\"c\":  1}");
}

TEST(Framing, GivesBackTheMemoryOfLongMessages) {
    Input input;
    std::string_view message;
    std::string text = "{\"a\":\"" + std::string(1000000, 'x') + "\"}";
    input_append(input, text.data(), text.size());
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    input_done(input);
    EXPECT_EQ(input.bytes.capacity, 0u);
    text += "\n";
    input_append(input, text.data(), text.size());
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(input_next(input, message), Frame::PARTIAL);
    EXPECT_EQ(input.bytes.capacity, 0u) << "the end of the line keeps nothing";
    text += "{";
    input_append(input, text.data(), text.size());
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(input_next(input, message), Frame::PARTIAL);
    input_append(input, "}", 1);
    EXPECT_LT(input.bytes.capacity, 1000u) << "nor does half a message";
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(message, "{}");
    input_append(input, "{}{", 3);
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    input_done(input);
    EXPECT_EQ(input_next(input, message), Frame::PARTIAL);
    input_append(input, "}", 1);
    EXPECT_EQ(input_next(input, message), Frame::MESSAGE);
    EXPECT_EQ(message, "{}");
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
