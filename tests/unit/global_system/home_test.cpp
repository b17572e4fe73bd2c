// Home directories in the names of files.
#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "ox_home.hpp"
#include "ox_raii.hpp"

namespace {

std::string expanded(const char* name) {
    CharsRef text(ox_home_expand(name));
    return text.get();
}

TEST(Home, StandsForTheTilde) {
    std::string old = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", "/home/somebody", 1);
    std::string root = getpwnam("root")->pw_dir;
    struct {
        const char* name;
        std::string expected;
    } rows[] = {
        {"~", "/home/somebody"},
        {"~/", "/home/somebody/"},
        {"~/a/~/b", "/home/somebody/a/~/b"},
        {"~root", root},
        {"~root/x", root + "/x"},
        {"~nosuchuser/x", "~nosuchuser/x"},
        {"./~/x", "./~/x"},
        {"/a", "/a"},
        {"a~", "a~"},
        {"", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(expanded(row.name), row.expected) << row.name;
    unsetenv("HOME");
    EXPECT_EQ(expanded("~/x"), std::string(getpwuid(getuid())->pw_dir) + "/x");
    setenv("HOME", old.c_str(), 1);
}

TEST(Home, UsersByTheirNames) {
    JsonRef names(json_array());
    ox_home_users("roo", names);
    EXPECT_STREQ(json_string_value(json_array_get(names, 0)), "~root/");
    json_array_clear(names);
    ox_home_users("nosuchuser", names);
    EXPECT_EQ(json_array_size(names), 0u);
}

}  // namespace
