#include "device/journal.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(Journal, NobodysNameMakesALineOfItsOwn) {
    obxd::Journal journal;
    obxd::journal_add(journal, "file %s downloaded", "a\n2026-01-01T00:00:00+0000 login of root");
    std::string text = obxd::journal_text(journal);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_NE(text.find("file a\\x0a2026-01-01T00:00:00+0000 login of root downloaded\n"), std::string::npos)
        << text;
}

}  // namespace
