// Completion of file names and of programs.
#include <sys/stat.h>

#include "completion_fixture.hpp"
#include "ox_raii.hpp"

namespace {

class CompleteFiles : public Complete {
protected:
    std::string old_directory;
    std::string directory;
    std::string old_path;
    void SetUp() override {
        Complete::SetUp();
        char name[] = "/var/tmp/obxfilesXXXXXX";
        directory = mkdtemp(name);
        CharsRef cwd(getcwd(nullptr, 0));
        old_directory = cwd.get();
        old_path = getenv("PATH");
        ASSERT_EQ(chdir(directory.c_str()), 0);
    }
    void TearDown() override {
        setenv("PATH", old_path.c_str(), 1);
        ASSERT_EQ(chdir(old_directory.c_str()), 0);
        EXPECT_EQ(system(("rm -rf " + directory).c_str()), 0);
        Complete::TearDown();
    }
    void file(const std::string& name, int mode = 0644) {
        FILE* f = fopen((directory + "/" + name).c_str(), "w");
        ASSERT_NE(f, nullptr) << name;
        fclose(f);
        chmod((directory + "/" + name).c_str(), static_cast<mode_t>(mode));
    }
    void folder(const std::string& name) { ASSERT_EQ(mkdir((directory + "/" + name).c_str(), 0755), 0); }
};

TEST_F(CompleteFiles, Names) {
    file("fw.bin");
    file("fw.txt");
    file("other");
    file(".hidden");
    folder("sub");
    file("sub/inner");
    std::string absolute = "upgrade " + directory + "/su";
    struct {
        std::string line;
        Texts expected;
    } rows[] = {
        {"upgrade ", {".hidden", "fw.bin", "fw.txt", "other", "sub/"}},
        {"upgrade fw.b", {"fw.bin"}},
        {"upgrade FW", {}},
        {"upgrade x", {}},
        {"upgrade sub/", {"inner"}},
        {"upgrade ./sub/in", {"inner"}},
        {"upgrade nothing/", {}},
        {absolute, {"sub/"}},
        {"download firmware fw", {"fw.bin", "fw.txt"}},
        {"download firmware fw.bin f", {}},
        {"upload config o", {"other"}},
        {"record ", {".hidden", "abort", "fw.bin", "fw.txt", "other", "sub/"}},
        {"record a", {"abort"}},
        {"luarecord o", {"other"}},
        {"sh ls o", {"other"}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
    EXPECT_EQ(hint("upgrade fw.b"), "in");
    EXPECT_EQ(hint("upgrade fw."), "(none)");
    EXPECT_EQ(hint("upgrade sub/"), "inner");
    EXPECT_EQ(hint("upgrade sub/inn"), "er");
    EXPECT_EQ(hint("record ab"), "ort");
}

// What is inserted must be read back by the tokenizer as the name.
TEST_F(CompleteFiles, NamesThatNeedQuotes) {
    file("my file.bin");
    file("it's");
    file("say \"hi\"");
    file("back\\slash");
    file("#hash");
    file("h\xc3\xa4user \xe2\x82\xac");
    file("bad\x01name");
    file("no\xffutf8");
    folder("a dir");
    file("a dir/in side");
    struct {
        const char* line;
        Texts expected;
    } rows[] = {
        {"upgrade my", {"my\" file.bin\""}},
        {"upgrade \"my", {"\"my file.bin\""}},
        {"upgrade \"my fi", {"\"my file.bin\""}},
        {"upgrade 'my fi", {"'my file.bin'"}},
        {"upgrade my\" fi", {"my\" file.bin\""}},
        {"upgrade i", {"it\\'s"}},
        {"upgrade 'i", {"'it\\'s'"}},
        {"upgrade \"i", {"\"it's\""}},
        {"upgrade sa", {"say\" \\\"hi\\\"\""}},
        {"upgrade bac", {"back\\\\slash"}},
        {"upgrade \\#", {"\\#hash"}},
        {"upgrade h\xc3\xa4", {"h\xc3\xa4user\" \xe2\x82\xac\""}},
        {"upgrade ba", {"back\\\\slash"}},
        {"upgrade no", {}},
        {"upgrade a", {"a\" dir/"}},
        {"upgrade a\" dir/", {"in side\""}},
        {"upgrade \"a dir/in s", {"in side\""}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
    EXPECT_EQ(hint("upgrade my"), "\" file.bin\"");
    EXPECT_EQ(hint("upgrade \"my fi"), "le.bin\"");
    EXPECT_EQ(hint("upgrade \"a dir/in s"), "ide\"");
}

// What is typed stays: the shell's lines are read with the "~" in them.
TEST_F(CompleteFiles, BelowHomes) {
    file("fw.bin");
    file("~mine");
    folder("sub");
    std::string old_home = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", directory.c_str(), 1);
    ASSERT_EQ(chdir("/"), 0);
    struct {
        const char* line;
        Texts expected;
    } rows[] = {
        {"upgrade ~/fw", {"fw.bin"}}, {"upgrade ~/", {"fw.bin", "sub/", "~mine"}},
        {"record ~/su", {"sub/"}},    {"sh ls ~/su", {"sub/"}},
        {"upgrade ~roo", {"~root/"}}, {"upgrade ~nosuchuser", {}},
        {"upgrade ~nosuchuser/", {}}, {"upgrade ./~", {}},
    };
    for (const auto& row : rows) EXPECT_EQ(complete(row.line), row.expected) << row.line;
    EXPECT_EQ(hint("upgrade ~/fw"), ".bin");
    ASSERT_EQ(chdir(directory.c_str()), 0);
    EXPECT_EQ(complete("upgrade ~mi"), Texts({"~mine"}));
    EXPECT_EQ(complete("upgrade ./~"), Texts({"~mine"}));
    setenv("HOME", old_home.c_str(), 1);
}

TEST_F(CompleteFiles, Programs) {
    folder("one");
    folder("two");
    file("one/lister", 0755);
    file("two/lister", 0755);
    file("two/linker", 0755);
    file("two/lipsum", 0644);
    folder("two/lib");
    file("one/lib", 0755);
    file("local");
    setenv("PATH", (directory + "/one:" + directory + "/two:/nonexistent::" + std::string(5000, 'x')).c_str(),
           1);
    EXPECT_EQ(complete("sh l"), Texts({"lib", "lib/", "linker", "lister"}));
    EXPECT_EQ(complete("sh lis"), Texts({"lister"}));
    EXPECT_EQ(hint("sh lis"), "ter");
    EXPECT_EQ(complete("sh lister l"), Texts({"local"}));
    unsetenv("PATH");
    EXPECT_EQ(complete("sh l"), Texts());
}

TEST_F(CompleteFiles, AWordByItself) {
    file("fw.bin");
    JsonRef words(json_pack("[ss]", "upgrade", "fw"));
    JsonRef found(json_array());
    offer_files({words, 1, "fw", "fw", {found, 0}}, {});
    EXPECT_EQ(texts(found), Texts({"fw.bin"}));
    offer_files({nullptr, 7, nullptr, "", {found, 0}}, {});
    EXPECT_EQ(texts(found), Texts({"fw.bin", "fw.bin"}));
}

}  // namespace
