// What no history may keep.
#include "commands/login.hpp"

#include <gtest/gtest.h>

namespace {

TEST(Login, LinesThatHoldAPassword) {
    for (const char* line :
         {"login root -p word", "login root -p", " login  'root'  -p \"a b\"", "login root word",
          "\"log\"in root -p word", "login root -pword", "login root -p word more", "login root -p w\xff",
          "login_if_guest root word", "login_if_guest token"})
        EXPECT_TRUE(login_line_is_secret(line)) << line;
    for (const char* line : {"", "login", "login root", "logout", "# login root -p word", "login_if_guest",
                             "set Device.login=1 a b", "help login root x", " ls # login root x", "q"})
        EXPECT_FALSE(login_line_is_secret(line)) << line;
}

}  // namespace
