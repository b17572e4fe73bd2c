// The history and its files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "ox_history.hpp"

namespace {

class History : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/var/tmp/obx_history_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory = name;
        path = directory + "/history";
        ox_history_clear();
    }
    void TearDown() override {
        ox_history_clear();
        ASSERT_EQ(system(("rm -rf " + directory).c_str()), 0);
    }
    void write(const std::string& text) {
        FILE* file = fopen(path.c_str(), "w");
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
    }
    std::string read() {
        std::string text;
        FILE* file = fopen(path.c_str(), "r");
        if (!file) return "(none)";
        for (int c = getc(file); c != EOF; c = getc(file)) text += static_cast<char>(c);
        fclose(file);
        return text;
    }
    /// The history as a recording would have it.
    std::string plain() {
        std::string saved = path;
        path = directory + "/plain";
        EXPECT_EQ(ox_history_dump(path.c_str(), 1000000), 0);
        std::string text = read();
        path = saved;
        return text;
    }
    std::string directory, path;
};

TEST_F(History, WritesOneEntryALineOldestFirst) {
    for (const char* text : {"one", "two", "", "two", "three"}) ox_history_add(text);
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "one\ntwo\ntwo\nthree\n");
    ASSERT_EQ(ox_history_dump(path.c_str(), 2), 0);
    EXPECT_EQ(read(), "two\nthree\n");
    ASSERT_EQ(ox_history_dump(path.c_str(), 0), 0);
    EXPECT_EQ(read(), "");
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(History, TheFileHoldsThemAllAndGivesBackTheLastThousand) {
    std::string all;
    for (int i = 0; i < 1500; ++i) {
        ox_history_add(("entry " + std::to_string(i)).c_str());
        all += "entry " + std::to_string(i) + "\n";
    }
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), all);
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    EXPECT_EQ(plain(), all.substr(all.find("entry 500\n")));
}

TEST_F(History, EntriesComeBackWhole) {
    const std::vector<std::string> entries = {"plain",
                                              "for i=1,3 do\n  print(i)\nend",
                                              "back\\slash and \\n",
                                              "a\\\nb\\\\n",
                                              "\001looks escaped\\n",
                                              "\xff\xfe bytes",
                                              "ends in \n",
                                              "\n"};
    std::string expected;
    for (const std::string& entry : entries) {
        ox_history_add(entry.c_str());
        expected += entry + "\n";
    }
    EXPECT_EQ(plain(), expected);
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    ox_history_clear();
    EXPECT_EQ(plain(), "");
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    EXPECT_EQ(plain(), expected);
}

TEST_F(History, LoadingReplacesAndAMissingFileLeavesNothing) {
    ox_history_add("old");
    write("a\n\nb");
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    EXPECT_EQ(plain(), "a\nb\n");
    EXPECT_EQ(ox_history_load((directory + "/missing").c_str()), 0);
    EXPECT_EQ(plain(), "");
}

TEST_F(History, HostileFilesDoNotHurt) {
    write(std::string("zero\0byte\nfine\n", 15) + std::string(300000, 'x') + "\nlast\n");
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    EXPECT_EQ(plain(), "fine\nlast\n");

    std::string many;
    for (int i = 0; i < 300000; i++) many += "entry " + std::to_string(i) + "\n";
    write(many);
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    std::string loaded = plain();
    EXPECT_EQ(loaded.substr(0, 13), "entry 299000\n");
    EXPECT_EQ(loaded.substr(loaded.size() - 13), "entry 299999\n");

    write(std::string(4 << 20, 'x'));
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    EXPECT_EQ(plain(), "");
}

TEST_F(History, NeverFollowsALinkAndReadsRegularFilesOnly) {
    write("secret\n");
    std::string link = directory + "/link";
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    ox_history_add("mine");
    EXPECT_EQ(ox_history_dump(link.c_str(), -1), -1);
    EXPECT_EQ(read(), "secret\n");
    EXPECT_EQ(ox_history_load(link.c_str()), -1);
    std::string fifo = directory + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(ox_history_load(fifo.c_str()), -1);
    EXPECT_EQ(ox_history_load(directory.c_str()), -1);
}

}  // namespace
