#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>

#include "foundation/StandbyThread.h"
#include "foundation/Thread.h"

using namespace Vespra;

TEST(StandbyThread, RunsOneFunctionAtATime) {
    StandbyThread standby;
    std::atomic<int> active = 0;
    std::atomic<int> overlaps = 0;
    std::atomic<int> calls = 0;
    const auto job = [&] {
        if (++active != 1) {
            ++overlaps;
        }
        std::this_thread::yield();
        ++calls;
        --active;
    };
    const auto invokeMany = [&] {
        for (int i = 0; i < 300; ++i) {
            standby.invoke(job, i % 10 == 0);
        }
    };
    std::thread first(invokeMany);
    std::thread second(invokeMany);
    first.join();
    second.join();
    standby.waitForThis();
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_EQ(calls.load(), 600);
    EXPECT_FALSE(standby.isRunning());
}

TEST(StandbyThread, ReportsRunningAndSurvivesExceptions) {
    StandbyThread standby;
    standby.configure(0, u"preview-refresher", 0);
    std::string name(16, '\0');
    standby.invoke([&] { pthread_getname_np(pthread_self(), name.data(), name.size()); }, true);
    EXPECT_FALSE(standby.isRunning());
    EXPECT_STREQ(name.c_str(), "preview-refresh");

    std::atomic<bool> release = false;
    standby.invoke(
        [&] {
            while (!release) {
                std::this_thread::yield();
            }
        },
        false);
    EXPECT_TRUE(standby.isRunning());
    release = true;
    standby.waitForThis();
    EXPECT_FALSE(standby.isRunning());

    bool ranAfterThrow = false;
    standby.invoke([] { throw std::runtime_error("dropped"); }, true);
    standby.invoke([&] { ranAfterThrow = true; }, true);
    EXPECT_TRUE(ranAfterThrow);
}

TEST(Thread, JoinGivesUpAfterTimeout) {
    std::atomic<bool> release = false;
    Thread thread(
        [&] {
            while (!release) {
                std::this_thread::yield();
            }
        },
        256 * 1024);
    EXPECT_FALSE(thread.join(1));
    EXPECT_TRUE(thread.isRunning());
    release = true;
    EXPECT_TRUE(thread.join());
    EXPECT_FALSE(thread.isRunning());
    // Joined, the object can run another function.
    int value = 0;
    thread.start([&] { value = 42; });
    EXPECT_TRUE(thread.join(10000));
    EXPECT_EQ(value, 42);
}
