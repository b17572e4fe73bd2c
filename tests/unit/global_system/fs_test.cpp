// Files: creation, links, replacement, mappings.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "ox_fs.hpp"
#include "ox_raii.hpp"
#include "scripted_daemon.hpp"

namespace {

void put(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string get(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return "(none)";
    return std::string(std::istreambuf_iterator<char>(file), {});
}

unsigned mode_of(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(Fs, TouchCreatesAndLeavesAlone) {
    TempDir dir;
    std::string path = dir / "f";
    EXPECT_EQ(ox_fs_touch(path.c_str()), 0);
    EXPECT_EQ(mode_of(path), 0600U);
    put(path, "text");
    EXPECT_EQ(ox_fs_touch(path.c_str()), 0);
    EXPECT_EQ(get(path), "text");
    EXPECT_EQ(ox_fs_touch((dir / "no/f").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ox_fs_touch((path + "/g").c_str()), -1);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(ox_fs_touch(""), -1);
}

/// What ox_fs_touch says of a path: 0 or errno.
int touched(const std::string& path) {
    return ox_fs_touch(path.c_str()) == 0 ? 0 : errno;
}

TEST(Fs, LinksAreFollowedButNotThoseOfASharedDirectory) {
    TempDir dir;
    put(dir / "f", "text");
    ASSERT_EQ(mkdir((dir / "shared").c_str(), 0700), 0);
    ASSERT_EQ(chmod((dir / "shared").c_str(), 01777), 0);
    ASSERT_EQ(mkdir((dir / "plain").c_str(), 0700), 0);
    const struct {
        const char *link, *target;
    } links[] = {{"link", "f"},
                 {"absolute", ""},
                 {"chain", "plain/../link"},
                 {"new", "plain/made"},
                 {"dir", "plain"},
                 {"loop", "loop"},
                 {"to_shared", "shared/mine"},
                 {"over_shared", "shared/link"},
                 {"shared/link", "../f"},
                 {"shared/dir", "../plain"},
                 {"shared/nowhere", "../made"}};
    for (auto& row : links) {
        std::string target = *row.target ? row.target : dir / "f";
        ASSERT_EQ(symlink(target.c_str(), (dir / row.link).c_str()), 0);
    }
    const struct {
        const char* path;
        int error;
    } rows[] = {{"link", 0},
                {"absolute", 0},
                {"chain", 0},
                {"new", 0},
                {"dir/by_dir", 0},
                {"loop", ELOOP},
                {"to_shared", 0},
                {"over_shared", ELOOP},
                {"shared/link", ELOOP},
                {"shared/dir/f", ELOOP},
                {"shared/nowhere", ELOOP},
                {"shared/../f", 0},
                {"shared", EISDIR},
                {"plain/", EISDIR},
                {"plain/..", EISDIR},
                {"dir", EISDIR}};
    for (auto& row : rows) EXPECT_EQ(touched(dir / row.path), row.error) << row.path;
    for (const char* made : {"plain/made", "plain/by_dir", "shared/mine"})
        EXPECT_EQ(get(dir / made), "") << made;
    EXPECT_EQ(get(dir / "made"), "(none)");
    EXPECT_EQ(get(dir / "f"), "text");
    EXPECT_EQ(ox_fs_write_file((dir / "chain").c_str(), "more", 4), 0);
    EXPECT_EQ(get(dir / "f"), "more");
    EXPECT_EQ(ox_fs_write_file((dir / "shared/link").c_str(), "less", 4), -1);
    EXPECT_EQ(ox_fs_open_read((dir / "shared/link").c_str()), -1);
    EXPECT_EQ(ox_fs_open_locked((dir / "shared/link").c_str()), -1);
    EXPECT_EQ(get(dir / "f"), "more");
}

TEST(Fs, InASharedDirectoryOnlyOnesOwnFileIsTouched) {
    TempDir dir;
    ASSERT_EQ(chmod((dir / ".").c_str(), 01777), 0);
    put(dir / "f", "text");
    EXPECT_EQ(touched(dir / "f"), 0);
    ASSERT_EQ(link((dir / "f").c_str(), (dir / "second").c_str()), 0);
    EXPECT_EQ(touched(dir / "f"), EPERM);
    unlink((dir / "second").c_str());
    if (chown((dir / "f").c_str(), 12345, 12345) != 0) GTEST_SKIP() << "only root can give files away";
    EXPECT_EQ(touched(dir / "f"), EPERM);
    EXPECT_EQ(ox_fs_replace_file((dir / "f").c_str(), "x", 1), -1);
    EXPECT_EQ(ox_fs_open_read((dir / "f").c_str()), -1);
    EXPECT_EQ(get(dir / "f"), "text");
    ASSERT_EQ(chmod((dir / ".").c_str(), 0700), 0);
    EXPECT_EQ(ox_fs_write_file((dir / "f").c_str(), "mine", 4), 0);
    EXPECT_EQ(get(dir / "f"), "mine");
}

TEST(Fs, DevicesAreNoFiles) {
    for (const char* path : {"/dev/null", "/dev/zero", "/dev/tty"}) EXPECT_NE(touched(path), 0) << path;
    EXPECT_EQ(touched("/dev/null"), EINVAL);
    EXPECT_EQ(touched("/dev"), EISDIR);
}

TEST(Fs, OnlyRegularFilesAreWritten) {
    TempDir dir;
    std::string path = dir / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Fd reader(open(path.c_str(), O_RDONLY | O_NONBLOCK));
    EXPECT_EQ(ox_fs_touch(path.c_str()), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ox_fs_write_file(path.c_str(), "x", 1), -1);
    EXPECT_EQ(ox_fs_replace_file(path.c_str(), "x", 1), -1);
    EXPECT_EQ(errno, EINVAL);
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST(Fs, WritingKeepsTheFileItself) {
    TempDir dir;
    std::string path = dir / "f";
    EXPECT_EQ(ox_fs_write_file(path.c_str(), "first and long", 14), 0);
    EXPECT_EQ(mode_of(path), 0600U);
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    ASSERT_EQ(link(path.c_str(), (dir / "same").c_str()), 0);
    EXPECT_EQ(ox_fs_write_file(path.c_str(), "second", 6), 0);
    EXPECT_EQ(get(dir / "same"), "second");
    EXPECT_EQ(mode_of(path), 0755U);
    ASSERT_EQ(symlink(path.c_str(), (dir / "link").c_str()), 0);
    EXPECT_EQ(ox_fs_write_file((dir / "link").c_str(), "third", 5), 0);
    EXPECT_EQ(get(dir / "same"), "third");
}

TEST(Fs, ReplaceIsWholeAndLeavesALink) {
    TempDir dir;
    std::string path = dir / "f";
    EXPECT_EQ(ox_fs_replace_file(path.c_str(), "one", 3), 0);
    EXPECT_EQ(get(path), "one");
    EXPECT_EQ(mode_of(path), 0600U);
    EXPECT_EQ(ox_fs_replace_file(path.c_str(), "", 0), 0);
    EXPECT_EQ(get(path), "");
    put(dir / "target", "old");
    ASSERT_EQ(symlink((dir / "target").c_str(), (dir / "link").c_str()), 0);
    EXPECT_EQ(ox_fs_replace_file((dir / "link").c_str(), "new", 3), 0);
    EXPECT_EQ(get(dir / "target"), "new");
    struct stat status = {};
    EXPECT_EQ(lstat((dir / "link").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(ox_fs_replace_file((dir / "no/f").c_str(), "x", 1), -1);
    ASSERT_EQ(mkdir((dir / "d").c_str(), 0700), 0);
    EXPECT_EQ(ox_fs_replace_file((dir / "d").c_str(), "x", 1), -1);  // and no temporary file stays
    EXPECT_EQ(system(("test $(ls '" + (dir / ".") + "' | wc -l) = 4").c_str()), 0);
}

TEST(Fs, ASignalThatEndsTheProgramLeavesNoTemporaryFile) {
    TempDir dir;
    std::string path = dir / "f";
    std::string text(1 << 16, 'x');
    for (int i = 0; i < 20; ++i) {
        pid_t child = fork();
        while (child == 0) ox_fs_replace_file(path.c_str(), text.data(), text.size());
        usleep(2000 + 100 * i);
        ASSERT_EQ(kill(child, SIGHUP), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
    }
    EXPECT_EQ(system(("test $(ls -A '" + (dir / ".") + "' | wc -l) = 1").c_str()), 0);
}

TEST(Fs, MapsFromAnOffset) {
    TempDir dir;
    std::string path = dir / "f";
    std::string text(10000, 'a');
    text[5000] = 'b';
    put(path, text);
    for (long offset : {0L, 1L, 4096L, 5000L, 9999L}) {
        size_t size = 0;
        auto* data = static_cast<char*>(ox_fs_mmap_file_adv(path.c_str(), offset, &size, 0));
        ASSERT_NE(data, nullptr) << offset;
        EXPECT_EQ(std::string(data, size), text.substr(static_cast<size_t>(offset))) << offset;
        ox_fs_munmap_file(data, size);
    }
    size_t size = 0;
    EXPECT_EQ(ox_fs_mmap_file_adv(path.c_str(), 10000, &size, 0), nullptr);
    put(path, "");
    EXPECT_EQ(ox_fs_mmap_file_adv(path.c_str(), 0, &size, 0), nullptr);
    EXPECT_EQ(ox_fs_mmap_file_adv((dir / "none").c_str(), 0, &size, 0), nullptr);
    EXPECT_EQ(ox_fs_mmap_file_adv((dir / ".").c_str(), 0, &size, 0), nullptr);
    ox_fs_munmap_file(nullptr, 0);
}

}  // namespace
