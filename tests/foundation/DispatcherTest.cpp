#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "foundation/DelayedCallback.h"
#include "foundation/Exception.h"
#include "foundation/MainThreadDispatcher.h"
#include "foundation/RepeatedCallback.h"

using namespace Vespra;

namespace {

class Dispatcher : public testing::Test {
protected:
    void SetUp() override { Utils::setMainThreadDispatcher(loop); }
    void TearDown() override { Utils::setMainThreadDispatcher(nullptr); }

    /// Runs the loop for a while with nothing to wait for.
    void idle(int milliseconds) {
        loop->runUntil([] { return false; }, milliseconds);
    }

    SharedPtr<LoopDispatcher> loop = makeShared<LoopDispatcher>();
};

} // namespace

TEST_F(Dispatcher, DelayedCallbackFoldsABurstIntoOneCall) {
    DelayedCallback callback;
    EXPECT_FALSE(callback);
    int calls = 0;
    callback = [&] { ++calls; };
    EXPECT_TRUE(callback);
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(callback.scheduleDelayed(5));
    }
    EXPECT_TRUE(loop->runUntil([&] { return calls > 0; }, 5000));
    idle(30);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(callback.isPending());

    callback.scheduleDelayed(5);
    callback.cancel();
    idle(30);
    EXPECT_EQ(calls, 1);

    // A callback destroyed before its time never runs.
    {
        DelayedCallback doomed;
        doomed = [&] { ++calls; };
        doomed.scheduleDelayed(1);
    }
    idle(20);
    EXPECT_EQ(calls, 1);
}

TEST_F(Dispatcher, RepeatedCallbackRunsUntilStopped) {
    RepeatedCallback repeated;
    int calls = 0;
    repeated.set([&] {
        if (++calls == 3) {
            repeated.stop();
        }
    });
    EXPECT_TRUE(repeated.start(2));
    EXPECT_TRUE(loop->runUntil([&] { return calls == 3; }, 5000));
    idle(20);
    EXPECT_EQ(calls, 3);
    EXPECT_FALSE(repeated.isRunning());
}

TEST_F(Dispatcher, ExecuteInMainThreadRunsOnTheLoop) {
    const std::thread::id mainThread = std::this_thread::get_id();
    int direct = 0;
    EXPECT_TRUE(Utils::executeInMainThread([&] { ++direct; }));
    EXPECT_EQ(direct, 1);

    std::thread::id ranOn;
    std::atomic<bool> returned = false;
    bool sawSideEffect = false;
    bool answer = false;
    bool rethrown = false;
    std::thread worker([&] {
        answer =
            Utils::executeInMainThread([&] { ranOn = std::this_thread::get_id(); }, Utils::ExecuteFlag::WAIT);
        sawSideEffect = ranOn == mainThread;
        try {
            Utils::executeInMainThread([] { throw Exception(u"no"); }, Utils::ExecuteFlag::WAIT);
        } catch (const Exception&) {
            rethrown = true;
        }
        returned = true;
    });
    EXPECT_TRUE(loop->runUntil([&] { return returned.load(); }, 5000));
    worker.join();
    EXPECT_TRUE(answer);
    EXPECT_TRUE(sawSideEffect);
    EXPECT_TRUE(rethrown);

    Utils::setMainThreadDispatcher(nullptr);
    EXPECT_FALSE(Utils::executeInMainThread([&] { ++direct; }));
    EXPECT_EQ(direct, 1);
}

TEST_F(Dispatcher, LoopRunsPostsInOrderAndSkipsCancelledTimers) {
    std::string log;
    loop->post([&] { log += 'a'; });
    loop->post([&] { log += 'b'; });
    const auto cancelled = loop->scheduleTimer(0, [&] { log += 'x'; });
    loop->scheduleTimer(0, [&] { log += 't'; });
    loop->cancelTimer(cancelled);
    EXPECT_EQ(loop->runPending(), 3);
    EXPECT_EQ(log, "abt");
}
