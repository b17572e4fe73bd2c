// Lists in columns.
#include "platform/global/terminal/columns.hpp"

#include <gtest/gtest.h>
#include <jansson.h>
#include <stdlib.h>

#include <vector>

#include "terminal_fixture.hpp"

namespace {

using Columns = OnXterm;

TEST_F(Columns, FillDownThenAcross) {
    struct Row {
        std::vector<size_t> entries;
        size_t width, rows, columns;
    };
    const Row rows[] = {{{}, 80, 0, 1},
                        {{5}, 80, 1, 1},
                        {{5, 5, 5}, 80, 1, 3},
                        {{5, 5, 5}, 19, 1, 3},    // 5 + 2 + 5 + 2 + 5
                        {{5, 5, 5}, 18, 2, 2},    // one column less
                        {{100, 5, 5}, 80, 3, 1},  // nothing fits beside the long one
                        {{1, 1, 1, 1, 1, 1, 1}, 10, 2, 4},
                        {{5, 5}, 3, 2, 1}};
    for (const Row& row : rows) {
        ColumnLayout layout = columns_layout(row.entries.data(), row.entries.size(), row.width);
        EXPECT_EQ(layout.rows, row.rows);
        EXPECT_EQ(layout.columns, row.columns);
        free(layout.widths);
    }
}

TEST_F(Columns, ListsFollowTheTerminal) {
    json_t* list = json_pack("[s,s,s,i,s]", "alpha", "b\033", "\xe4\xb8\xad\xe6\x96\x87", 7, "delta");
    // 5 + 2 + 5 + ... on 20 columns: two rows of two.
    EXPECT_EQ(written(true, [list] { ox_rl_show_list(list); }),
              "alpha  \xe4\xb8\xad\xe6\x96\x87\r\nb\\x1b  delta\r\n");
    EXPECT_EQ(written(
                  true, [list] { ox_rl_show_list(list); }, 40),
              "alpha  b\\x1b  \xe4\xb8\xad\xe6\x96\x87  delta\r\n");
    EXPECT_EQ(written(false, [list] { ox_rl_show_list(list); }),
              "alpha\nb\033\n\xe4\xb8\xad\xe6\x96\x87\ndelta\n");
    json_decref(list);
    list = json_array();
    EXPECT_EQ(written(true, [list] { ox_rl_show_list(list); }), "");
    json_decref(list);
    EXPECT_EQ(written(true, [] { ox_rl_show_list(nullptr); }), "");
}

}  // namespace
