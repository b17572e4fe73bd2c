// Files, digests, URLs and firmware versions.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "ox_firmware.hpp"
#include "ox_fs.hpp"
#include "ox_log.hpp"
#include "ox_md5.hpp"
#include "ox_raii.hpp"
#include "ox_url.hpp"
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

struct Digest {
    const char* text;
    const char* digest;
};

TEST(Md5, DigestsOfTheStandard) {
    const Digest rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    };
    TempDir dir;
    for (const Digest& row : rows) {
        uint8_t digest[OX_MD5_SIZE];
        char text[OX_MD5_TEXT_SIZE];
        put(dir / "f", row.text);
        EXPECT_EQ(ox_md5_calculate_from_file_region(digest, (dir / "f").c_str(), 0, 0, -1), 0);
        EXPECT_EQ(ox_md5_to_str(text, digest), 0);
        EXPECT_STREQ(text, row.digest);
    }
}

TEST(Md5, RegionsOfFiles) {
    TempDir dir;
    std::string text(70000, 'q');
    put(dir / "f", "head" + text + "tail");
    uint8_t region[OX_MD5_SIZE];
    uint8_t whole[OX_MD5_SIZE];
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, (dir / "f").c_str(), 0, 4, 70000), 0);
    put(dir / "whole", text);
    EXPECT_EQ(ox_md5_calculate_from_file_region(whole, (dir / "whole").c_str(), 0, 0, -1), 0);
    EXPECT_EQ(memcmp(region, whole, sizeof(whole)), 0);
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, (dir / "none").c_str(), 0, 0, -1), -1);
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, (dir / ".").c_str(), 0, 0, -1), -1);
    EXPECT_EQ(ox_md5_calculate_from_file_region(region, "/dev/zero", 0, 0, -1), -1);
}

std::string part(const ox_url_part& piece) {
    return piece.text ? std::string(piece.text, piece.length) : "-";
}

struct Url {
    const char* text;
    const char* parts;  ///< null: no URL
};

TEST(Url, PartsOfUrls) {
    const Url rows[] = {
        {"http://host/a/b", "http - - host 0 /a/b"},
        {"https://user:pa:ss@host:8443/", "https user pa:ss host 8443 /"},
        {"ftp://user@host", "ftp user - host 0 -"},
        {"tftp://[fe80::1]:69/x", "tftp - - fe80::1 69 /x"},
        {"file:///etc/x", "file - -  0 /etc/x"},
        {"netcat://192.0.2.1:40000", "netcat - - 192.0.2.1 40000 -"},
        {"a+b.c-d://h", "a+b.c-d - - h 0 -"},
        {"http://a@b@host/", "http a@b - host 0 /"},
        {"http://host:/x", "http - - host 0 /x"},
        {"http://host?q=1", "http - - host?q=1 0 -"},
        {"", nullptr},
        {"fw.bin", nullptr},
        {"/tmp/a://b", nullptr},
        {"://host", nullptr},
        {"1http://host", nullptr},
        {"ht_tp://host", nullptr},
        {"http:/host", nullptr},
        {"http://", nullptr},
        {"http://host:99999/", nullptr},
        {"http://host:1x/", nullptr},
        {"http://[::1/", nullptr},
        {"http://:80/", nullptr},
    };
    for (const Url& row : rows) {
        ox_url url;
        bool fine = ox_url_parse_mem(&url, row.text, strlen(row.text)) != 0;
        EXPECT_EQ(fine, row.parts != nullptr) << row.text;
        if (!fine || !row.parts) continue;
        std::string parts = part(url.scheme) + " " + part(url.user) + " " + part(url.password) + " " +
                            part(url.host) + " " + std::to_string(url.port) + " " + part(url.path);
        EXPECT_EQ(parts, row.parts) << row.text;
    }
    ox_url url;
    EXPECT_EQ(ox_url_parse_mem(&url, "http://host/path", 8), 1);  // only what the length covers
    EXPECT_EQ(part(url.host), "h");
    EXPECT_EQ(ox_url_parse_mem(&url, nullptr, 0), 0);
}

struct Versions {
    const char* current;
    const char* next;
    int order;
};

TEST(Firmware, VersionsCompare) {
    const Versions rows[] = {
        {"2.4.1", "2.4.1", 0},
        {"2.4.1", "3.0.0", 3},
        {"2.4.1", "1.9.9", -3},
        {"2.4.1", "2.5.0", 2},
        {"2.4.1", "2.3.9", -2},
        {"2.4.1", "2.4.2", 1},
        {"2.4.1", "2.4.0", -1},
        {"2.9", "2.10", 2},
        {"9", "10", 3},
        {"2.4.1.1", "2.4.1.2", 1},
        {"2.4", "2.4.0", 0},
        {"2.4", "2.4.1", 1},
        {"2", "2.1", 2},
        {"02.4", "2.04", 0},
        {"99999999999999999999.1", "100000000000000000000.1", 3},
        {"2.4.1-rc1", "2.4.1", 1},
        {"2.4.1", "2.4.1-rc1", -1},
        {"2.4.1-rc9", "2.4.1-rc10", 1},
        {"2.4.1-rc2", "2.4.1-rc1", -1},
        {"2.4.1-rc2", "2.4.1-rc2", 0},
        {"2.4.1", "2.4.1-15", 1},
        {"2.4.1a", "2.4.1b", 1},
        {"2.4.1-rc1", "2.5.0-rc1", 2},
        {"2.4.1", " 2.4.1", 0},
        {"\t2.4.1 ", "2.5.0\n", 2},
        {"v2.4.1", "2.4.1", 0},
        {"V2.4.1", " v3.0", 3},
        {"v2", "v1", -3},
        {"", "", 0},
        {"factory", "factory", 0},
        {"factory ", " factory", 0},
        {"2.4.1 beta", "2.4.1 beta", 0},
        {"ROUTER-2.4.1", "ROUTER-2.4.1", 0},
        {"ROUTER-2.4.1", "ROUTER-2.5.0-rc1", 2},
        {"router-2.4.1", "ROUTER-v1.0", -3},
        {"X200-5G-1.2.3", "X200-5G-2.0.0", 3},
        {"5GBOX-1.2.3", "5GBOX-2.0.0", 3},
        {"ROUTER-2.4.1", "2.4.2", 1},
        {"2.4.1", "ROUTER-2.4.1", 0},
        {"ROUTER-2.4.1", "SWITCH-2.4.1", OX_FIRMWARE_FOREIGN},
        {"ROUTER-2.4.1", "SWITCH-9.0", OX_FIRMWARE_FOREIGN},
        {"ROUTER-2.4.1", "ROUTER2-2.4.0", -OX_FIRMWARE_FOREIGN},
        {"2.4.1", "factory", OX_FIRMWARE_UNKNOWN},
        {"factory", "2.4.1", OX_FIRMWARE_UNKNOWN},
        {"factory", "foreign", OX_FIRMWARE_UNKNOWN},
        {"factory-7", "release-8", OX_FIRMWARE_UNKNOWN},
        {"my router-1.2.3", "-1.2.3", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "2..1", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "2.4.", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "v", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "vv2.4.1", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", "2.4.1 beta", OX_FIRMWARE_UNKNOWN},
        {"2.4.1", nullptr, OX_FIRMWARE_UNKNOWN},
        {nullptr, "2.4.1", OX_FIRMWARE_UNKNOWN},
        {nullptr, nullptr, OX_FIRMWARE_UNKNOWN},
    };
    for (const Versions& row : rows) {
        EXPECT_EQ(ox_firmware_version_cmp(row.current, row.next), row.order)
            << (row.current ? row.current : "null") << " " << (row.next ? row.next : "null");
    }
}

#ifndef __SANITIZE_ADDRESS__
TEST(Log, AnAllocationThatFailsIsFatal) {
    void* block = _xmalloc(1, "try_login", 569, "obxc/main");
    EXPECT_NE(block, nullptr);
    free(block);
    EXPECT_DEATH(_xmalloc(SIZE_MAX / 4, "try_login", 569, "obxc/main"),
                 "^obxc/main:38: _xmalloc: assertion 'pointer != NULL' failed: "
                 "xmalloc failed at func try_login:569 \\(obxc/main\\)\n$");
}
#endif

}  // namespace
