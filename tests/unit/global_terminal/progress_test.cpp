// The progress bar.
#include <gtest/gtest.h>

#include "ox_progress.hpp"
#include "terminal_fixture.hpp"

namespace {

using Progress = OnXterm;

TEST_F(Progress, IsOneRowDrawnWhenItChanges) {
    EXPECT_EQ(written(true, [] { ox_rl_draw_progressbar(50, "Go"); }), "\rGo [####.....]  50%");
    EXPECT_EQ(written(true, [] { ox_rl_draw_progressbar(50, "Go"); }), "");
    EXPECT_EQ(written(true, [] { ox_rl_draw_progressbar(250, "Go"); }), "\rGo [#########] 100%");
    EXPECT_EQ(written(
                  true, [] { ox_rl_draw_progressbar(-3, "Go"); }, 15),
              "\rGo [....]   0%");
    EXPECT_EQ(written(
                  true, [] { ox_rl_draw_progressbar(7, "A long label"); }, 12),
              "\rA l []   7%");
    EXPECT_EQ(written(false, [] { ox_rl_draw_progressbar(60, "Go"); }), "");
}

}  // namespace
