#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <wx/thread.h>

#include "foundation/DelayedCallback.h"
#include "foundation/MainThreadDispatcher.h"
#include "gui/widgets/LibWx.h"
#include "gui/widgets/WxDispatcher.h"
#include "tests/gui/GuiTestSupport.h"

namespace Vespra::Wx {
namespace {

using GuiTest::waitUntil;

TEST(WxDispatcher, WorkPostedFromWorkersRunsOnTheGuiThreadInOrderAndDrainingIsTheBarrier) {
    std::vector<int> order;
    std::atomic<int> offMainThread = 0;
    std::thread worker([&] {
        for (int i = 0; i < 200; ++i) {
            ASSERT_TRUE(Utils::executeInMainThread([&order, &offMainThread, i] {
                if (!wxIsMainThread()) {
                    ++offMainThread;
                }
                order.push_back(i);
            }));
        }
    });
    worker.join();
    // Everything is queued now, nothing has run: the GUI thread has not looked at its queue.
    EXPECT_TRUE(order.empty());
    LibWx::processAllPendingEvents();
    ASSERT_EQ(order.size(), 200u);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(order[std::size_t(i)], i);
    }
    EXPECT_EQ(offMainThread, 0);
}

TEST(WxDispatcher, DrainingAlsoRunsWhatTheQueuedWorkQueuesInTurn) {
    int depth = 0;
    Function<void()> nest = [&] {
        if (++depth < 10) {
            Utils::getMainThreadDispatcher()->post(nest);
        }
    };
    Utils::getMainThreadDispatcher()->post(nest);
    LibWx::processAllPendingEvents();
    EXPECT_EQ(depth, 10);
}

TEST(WxDispatcher, WaitingExecutionReturnsAfterTheGuiThreadRanIt) {
    std::atomic<bool> ran = false;
    std::atomic<bool> returned = false;
    std::thread worker([&] {
        Utils::executeInMainThread([&] { ran = wxIsMainThread(); }, Utils::ExecuteFlag::WAIT);
        returned = true;
    });
    EXPECT_TRUE(waitUntil([&] { return returned.load(); }));
    worker.join();
    EXPECT_TRUE(ran);
}

TEST(WxDispatcher, DelayedCallbacksFireOnceOnTheGuiThreadAndCancelledOnesNever) {
    int fired = 0;
    int cancelledFired = 0;
    DelayedCallback callback;
    callback = [&] { fired += wxIsMainThread() ? 1 : 100; };
    DelayedCallback cancelled;
    cancelled = [&] { ++cancelledFired; };

    // A burst of requests gives one call.
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(callback.scheduleDelayed(30));
    }
    ASSERT_TRUE(cancelled.scheduleDelayed(10));
    cancelled.cancel();
    EXPECT_TRUE(waitUntil([&] { return fired > 0; }));
    // Long enough for a stray second call or the cancelled one to show.
    DelayedCallback probe;
    bool probeFired = false;
    probe = [&] { probeFired = true; };
    probe.scheduleDelayed(100);
    EXPECT_TRUE(waitUntil([&] { return probeFired; }));
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(cancelledFired, 0);
    EXPECT_FALSE(callback.isPending());
}

TEST(WxDispatcher, TimersScheduledFromAWorkerStartOnTheGuiThread) {
    const auto dispatcher = std::dynamic_pointer_cast<WxDispatcher>(Utils::getMainThreadDispatcher());
    ASSERT_TRUE(dispatcher);
    std::atomic<bool> fired = false;
    Abstract::MainThreadDispatcher::TimerId cancelledId = 0;
    std::thread worker([&] {
        dispatcher->scheduleTimer(20, [&] { fired = wxIsMainThread(); });
        cancelledId = dispatcher->scheduleTimer(20, [] { ADD_FAILURE() << "a cancelled timer fired"; });
        dispatcher->cancelTimer(cancelledId);
    });
    worker.join();
    EXPECT_TRUE(waitUntil([&] { return fired.load(); }));
    EXPECT_TRUE(waitUntil([&] { return dispatcher->pendingTimerCount() == 0; }));
}

} // namespace
} // namespace Vespra::Wx
