#include "commands/cat.hpp"

#include <gtest/gtest.h>

#include "capture.hpp"
#include "ox_raii.hpp"

namespace {

// Neither the command line nor the shell lets such a text through; no connection is needed to refuse it.
TEST(Cat, ATextThatIsNoUtf8IsNoArgument) {
    JsonRef args(json_array());
    json_array_append_new(args, json_string_nocheck("\xff"));
    int status = -1;
    EXPECT_EQ(captured([&] { status = cat_command("get", args); }), "get: no argument.\n");
    EXPECT_EQ(status, 0);
}

}  // namespace
