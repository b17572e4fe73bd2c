// The entry of every unit program: GoogleTest's own options, and --file=NAME for the tests of one source
// file.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace {

/// A filter that takes the tests whose source file is called `name`; empty when there are none.
std::string tests_of_file(const std::string& name) {
    const testing::UnitTest& unit = *testing::UnitTest::GetInstance();
    std::string filter;
    for (int s = 0; s < unit.total_test_suite_count(); ++s) {
        const testing::TestSuite& suite = *unit.GetTestSuite(s);
        for (int t = 0; t < suite.total_test_count(); ++t) {
            const testing::TestInfo& test = *suite.GetTestInfo(t);
            std::string file = test.file();
            if (file.substr(file.rfind('/') + 1) != name) continue;
            filter += (filter.empty() ? "" : ":") + std::string(suite.name()) + "." + test.name();
        }
    }
    return filter;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc == 2 && strncmp(argv[1], "--file=", 7) == 0) {
        std::string filter = tests_of_file(argv[1] + 7);
        if (filter.empty()) {
            fprintf(stderr, "no test comes from a file %s\n", argv[1] + 7);
            return 2;
        }
        GTEST_FLAG_SET(filter, filter);
    } else if (argc > 1) {
        fprintf(stderr, "usage: %s [--file=NAME_test.cpp] [GoogleTest's options]\n", argv[0]);
        return 2;
    }
    return RUN_ALL_TESTS();
}
