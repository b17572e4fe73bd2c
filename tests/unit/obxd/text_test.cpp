#include "text.hpp"

#include <gtest/gtest.h>

namespace {

using obxd::Text;

std::string block(size_t size, char c = 'x') {
    return std::string(size, c);
}

TEST(Texts, GrowInPiecesAndAreTheSame) {
    Text text;
    std::string whole;
    for (size_t size : {1u, 0u, 7u, 1000u, 1024u, 5000u, 70000u, 3u, 300000u}) {
        text.append(block(size, static_cast<char>('a' + size % 26)));
        whole += block(size, static_cast<char>('a' + size % 26));
        text.append('\n');
        whole += '\n';
    }
    EXPECT_EQ(text.size(), whole.size());
    EXPECT_EQ(text.str(), whole);
}

TEST(Texts, PiecesAreWhatIsLeft) {
    Text text;
    std::string whole;
    for (int i = 0; i < 40000; i++) {
        std::string line = "line " + std::to_string(i) + "\n";
        text.append(line);
        whole += line;
    }
    for (size_t step : {0u, 1u, 1023u, 1u, 64u * 1024u, 100000u}) {
        text.drop(step);
        whole.erase(0, step);
        ASSERT_EQ(text.str(), whole) << step;
        iovec pieces[3];
        int count = text.pieces(pieces, 3);
        ASSERT_GT(count, 0);
        std::string first;
        for (int i = 0; i < count; i++)
            first.append(static_cast<char*>(pieces[i].iov_base), pieces[i].iov_len);
        EXPECT_EQ(first, whole.substr(0, first.size()));
    }
    text.append("end");
    text.drop(whole.size());
    EXPECT_EQ(text.str(), "end");
    text.drop(3);
    EXPECT_TRUE(text.empty());
    iovec piece;
    EXPECT_EQ(text.pieces(&piece, 1), 0);
    text.append("again");
    EXPECT_EQ(text.str(), "again");
}

TEST(Texts, OthersAreAppendedCopiedOrNot) {
    for (size_t size : {0u, 10u, 5000u, 200000u}) {
        Text text, other;
        text.append("head,");
        for (size_t at = 0; at < size; at++) other.append('o');
        text.append(std::move(other));
        EXPECT_TRUE(other.empty());  // NOLINT(bugprone-use-after-move): it is empty then
        text.append(",tail");
        EXPECT_EQ(text.str(), "head," + block(size, 'o') + ",tail");
        other.append("used again");
        EXPECT_EQ(other.str(), "used again");
    }
}

TEST(Texts, AreSharedAndOutliveTheFirstHolder) {
    for (size_t size : {10u, 5000u, 200000u}) {
        auto shared = std::make_shared<Text>();
        shared->append(block(size));
        Text one, other;
        one.append("1");
        one.share(shared);
        one.append("!");
        other.share(shared);
        std::weak_ptr<Text> watched = shared;
        shared.reset();
        EXPECT_EQ(watched.expired(), size < 4096) << "long ones are there once";
        EXPECT_EQ(one.str(), "1" + block(size) + "!");
        one.drop(size);
        EXPECT_EQ(one.str(), "x!");
        EXPECT_EQ(other.str(), block(size));
        one.drop(2);
        other.clear();
        EXPECT_TRUE(watched.expired());
    }
}

}  // namespace
