// Assertions.
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>

#include "ox_log.hpp"

namespace {

TEST(Log, AnAllocationThatSucceedsIsTheCallers) {
    void* block = _xmalloc(1, "try_login", 569, "obxc/main");
    EXPECT_NE(block, nullptr);
    free(block);
}

#ifndef __SANITIZE_ADDRESS__  // which ends the program itself then
TEST(Log, AnAllocationThatFailsIsFatal) {
    volatile size_t more_than_any = SIZE_MAX / 2 + 1;  // which the compiler would tell
    EXPECT_DEATH(_xmalloc(more_than_any, "try_login", 569, "obxc/main"),
                 "^obxc/main:38: _xmalloc: assertion 'pointer != NULL' failed: "
                 "xmalloc failed at func try_login:569 \\(obxc/main\\)\n"
                 "(qemu: uncaught target signal 6 .*\n)?$");
}
#endif

}  // namespace
