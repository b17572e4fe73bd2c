// The history and its files.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
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
    for (const char* text : {"one", "two", "", "two", "three", "two"}) ox_history_add(text);
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "one\ntwo\nthree\ntwo\n");  // no double in a row
    ASSERT_EQ(ox_history_dump(path.c_str(), 4), 0);
    EXPECT_EQ(read(), "two\ntwo\nthree\ntwo\n");  // a recording has them
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

TEST_F(History, WhatOthersWroteMeanwhileStays) {
    write("old\n");
    ASSERT_EQ(ox_history_load(path.c_str()), 0);
    ox_history_add("mine");
    write("old\nhers\n");
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "old\nhers\nmine\n");
    write("old\nhers\nmine\nhis\n");
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);  // nothing was added since
    EXPECT_EQ(read(), "old\nhers\nmine\nhis\n");
    ox_history_add("his");
    ox_history_add("more");
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "old\nhers\nmine\nhis\nmore\n");
    unlink(path.c_str());  // who removes the file wants the old ones forgotten
    ox_history_add("new");
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "new\n");
}

TEST_F(History, ProgramsThatEndTogetherLoseNothing) {
    const int programs = 8, entries = 40;
    for (int i = 0; i < programs; i++) {
        if (fork() != 0) continue;
        ox_history_load(path.c_str());
        for (int k = 0; k < entries; k++) {
            ox_history_add((std::to_string(i) + " " + std::to_string(k)).c_str());
            if (ox_history_dump(path.c_str(), -1) != 0) _exit(1);
        }
        _exit(0);
    }
    for (int i = 0; i < programs; i++) {
        int status = -1;
        ASSERT_GT(wait(&status), 0);
        EXPECT_EQ(status, 0);
    }
    std::string text = "\n" + read();
    for (int i = 0; i < programs; i++) {
        for (int k = 0; k < entries; k++) {
            std::string entry = "\n" + std::to_string(i) + " " + std::to_string(k) + "\n";
            ASSERT_NE(text.find(entry), std::string::npos) << entry;
        }
    }
    EXPECT_EQ(system(("test $(ls -A " + directory + " | wc -l) = 1").c_str()), 0);
}

TEST_F(History, AKeptLockDoesNotHoldUsUp) {
    write("old\n");
    int fd = open(path.c_str(), O_RDONLY);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    ox_history_load(path.c_str());
    ox_history_add("mine");
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "old\nmine\n");
    close(fd);
}

TEST_F(History, SecretsStayInMemory) {
    ox_history_set_secret([](const char* text) { return strstr(text, "secret") != nullptr; });
    write("old secret\n\001a\\nsecret\nkept\n");
    ox_history_load(path.c_str());
    ox_history_add("a\nsecret");
    ox_history_add("new");
    ox_history_add("secret");
    ASSERT_EQ(ox_history_dump(path.c_str(), -1), 0);
    EXPECT_EQ(read(), "kept\nnew\n");
    EXPECT_STREQ(ox_history_get(0), "secret");
    EXPECT_EQ(plain(), "old secret\na\nsecret\nkept\na\nsecret\nnew\nsecret\n");
    ox_history_set_secret(nullptr);
}

TEST_F(History, FollowsItsOwnersLinksOnlyAndReadsRegularFilesOnly) {
    write("secret\n");
    std::string link = directory + "/link";
    ASSERT_EQ(symlink("history", link.c_str()), 0);
    ASSERT_EQ(ox_history_load(link.c_str()), 0);
    ox_history_add("mine");
    EXPECT_EQ(ox_history_dump(link.c_str(), -1), 0);
    EXPECT_EQ(read(), "secret\nmine\n");
    ASSERT_EQ(chmod(directory.c_str(), 01777), 0);
    ox_history_add("again");
    EXPECT_EQ(ox_history_dump(link.c_str(), -1), -1);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(read(), "secret\nmine\n");
    EXPECT_EQ(ox_history_load(link.c_str()), -1);
    std::string fifo = directory + "/fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(ox_history_load(fifo.c_str()), -1);
    EXPECT_EQ(ox_history_load(directory.c_str()), -1);
}

}  // namespace
