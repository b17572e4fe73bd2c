// Ctrl-C: what jumps at once, what is only marked, and where the mark takes effect.
#include "session/interrupt.hpp"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "ox_wait.hpp"

namespace {

class Interrupt : public testing::Test {
protected:
    void SetUp() override {
        interrupt_init();
        interrupt_install(shell_interrupt);
    }
    void TearDown() override {
        interrupt_disarm();
        idle_interrupt_taken();
        ox_wait_set_hooks(nullptr, nullptr);
    }
};

/// Runs `body` armed; true when it was left by a jump.
template <typename Body>
bool jumps(Body body) {
    ox_held_mark held;
    interrupt_held = &held;
    if (sigsetjmp(interrupt_context, 1) != 0) return true;
    interrupt_armed = 1;
    body();
    return false;
}

void* interrupt_soon(void* thread) {
    usleep(50000);
    pthread_kill(*static_cast<pthread_t*>(thread), SIGINT);
    return nullptr;
}

TEST_F(Interrupt, AWaitIsLeftAtOnce) {
    pthread_t self = pthread_self();
    pthread_t other;
    long long start = ox_wait_now_ms();
    EXPECT_TRUE(jumps([&] {
        ASSERT_EQ(pthread_create(&other, nullptr, interrupt_soon, &self), 0);
        ox_wait_sleep_ms(60000);
    }));
    pthread_join(other, nullptr);
    EXPECT_LT(ox_wait_now_ms() - start, 30000);
    EXPECT_FALSE(interrupt_armed);
    EXPECT_FALSE(interrupt_pending());
}

TEST_F(Interrupt, OutsideAWaitItIsMarked) {
    static bool reached;
    reached = false;
    EXPECT_FALSE(jumps([] {
        interrupt_point();
        raise(SIGINT);
        reached = true;
    }));
    EXPECT_TRUE(reached);
    EXPECT_TRUE(interrupt_pending());
    EXPECT_TRUE(interrupt_armed);
}

TEST_F(Interrupt, TheMarkJumpsAtTheNextPoint) {
    static bool reached;
    reached = false;
    EXPECT_TRUE(jumps([] {
        raise(SIGINT);
        interrupt_point();
        reached = true;
    }));
    EXPECT_FALSE(reached);
}

TEST_F(Interrupt, TheMarkJumpsAtTheNextWait) {
    static bool reached;
    reached = false;
    EXPECT_TRUE(jumps([] {
        raise(SIGINT);
        ox_wait_poll(nullptr, 0, 0);
        reached = true;
    }));
    EXPECT_FALSE(reached);
}

TEST_F(Interrupt, UnarmedItIsRememberedForWhoArms) {
    raise(SIGINT);
    EXPECT_FALSE(interrupt_pending());
    interrupt_point();
    ox_wait_sleep_ms(1);
    EXPECT_TRUE(jumps([] { interrupt_take_idle(); }));
    EXPECT_FALSE(jumps([] { interrupt_take_idle(); }));
}

TEST_F(Interrupt, DisarmingForgetsTheMarkAndEndsNothing) {
    EXPECT_FALSE(jumps([] { raise(SIGINT); }));
    interrupt_disarm();
    EXPECT_FALSE(interrupt_pending());
    EXPECT_FALSE(interrupt_armed);
    struct sigaction now;
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, idle_interrupt);
    interrupt_install(shell_interrupt);
    interrupt_armed = 1;
    interrupt_point();  // an old mark would jump into a frame that is gone
}

void* wait_and_interrupt(void*) {
    ox_wait_sleep_ms(10);
    raise(SIGINT);
    ox_wait_sleep_ms(10);
    return nullptr;
}

TEST_F(Interrupt, AnotherThreadNeverJumps) {
    EXPECT_TRUE(jumps([] {
        pthread_t other;
        ASSERT_EQ(pthread_create(&other, nullptr, wait_and_interrupt, nullptr), 0);
        pthread_join(other, nullptr);
        interrupt_point();  // the mark that it handed over
    }));
}

TEST_F(Interrupt, TheIdleHandlerEndsAWait) {
    interrupt_install(idle_interrupt);
    EXPECT_FALSE(idle_interrupt_taken());
    pthread_t self = pthread_self();
    pthread_t other;
    ASSERT_EQ(pthread_create(&other, nullptr, interrupt_soon, &self), 0);
    EXPECT_EQ(ox_wait_poll(nullptr, 0, 20000), -1);
    EXPECT_EQ(errno, EINTR);
    pthread_join(other, nullptr);
    EXPECT_TRUE(idle_interrupt_taken());
    EXPECT_FALSE(idle_interrupt_taken());
}

TEST_F(Interrupt, NoIdleInterruptIsLostBetweenWaits) {
    interrupt_install(idle_interrupt);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    struct pollfd ready = {ends[0], POLLIN, 0};
    EXPECT_EQ(ox_wait_poll_keys(&ready, 1, 20000), 1);
    raise(SIGINT);
    EXPECT_EQ(ox_wait_poll_keys(nullptr, 0, 20000), -1);  // although it came before
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(ox_wait_poll_keys(&ready, 1, 20000), -1);  // whatever else is ready
    EXPECT_TRUE(idle_interrupt_taken());
    EXPECT_EQ(ox_wait_poll_keys(&ready, 1, 20000), 1);
    EXPECT_EQ(ox_wait_poll_keys(nullptr, 0, 1), 0);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Interrupt, AWaitForKeysCanBeLeftByAJump) {
    EXPECT_TRUE(jumps([] {
        pthread_t self = pthread_self();
        pthread_t other;
        ASSERT_EQ(pthread_create(&other, nullptr, interrupt_soon, &self), 0);
        pthread_detach(other);
        ox_wait_poll_keys(nullptr, 0, 20000);
    }));
    EXPECT_FALSE(idle_interrupt_taken());
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGINT), 0);
}

}  // namespace
