#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "base/pipeline/AsyncMixin.h"
#include "base/pipeline/ProgressMixin.h"

using namespace Vespra;
using namespace Vespra::Pipeline;

namespace {

/// An asynchronous operator whose run records its input and can be held at a gate.
class RecordingOperator : public AsyncMixin<ProgressMixin<IOperator>> {
public:
    ~RecordingOperator() override { stopWorker(); }

    void setInput(int value) {
        {
            std::lock_guard lock(inputLock);
            input = value;
        }
        startWorker(u"Test_RecordingOperator");
    }

    void run() override {
        int seen;
        {
            std::lock_guard lock(inputLock);
            seen = input;
        }
        runStarted = true;
        std::unique_lock lock(gateLock);
        gateChanged.wait(lock, [this] { return gateOpen; });
        lastInput = seen;
        ++*completedRuns;
    }

    void openGate() {
        std::lock_guard lock(gateLock);
        gateOpen = true;
        gateChanged.notify_all();
    }

    Timestamp getTimestamp() const override { return NO_TIMESTAMP; }
    Array<ElementInfo> getElements() const override { return {}; }
    Bucket getDisplayWindow() const override { return {}; }
    Bucket getDataWindow() const override { return {}; }
    Optional<ColorBitmap> getColorBitmap(const String&, const Bucket&, float, std::uint32_t) override {
        ++pulls;
        return ColorBitmap(1, 1);
    }
    Optional<MonoBitmap> getMonoBitmap(const String&, const Bucket&, float, std::uint32_t) override {
        return std::nullopt;
    }

    int runs() const { return completedRuns->load(); }

    SharedPtr<std::atomic<int>> completedRuns = makeShared<std::atomic<int>>(0);
    std::atomic<int> lastInput{-1};
    std::atomic<bool> runStarted{false};
    std::atomic<int> pulls{0};

private:
    std::mutex inputLock;
    int input = 0;
    std::mutex gateLock;
    std::condition_variable gateChanged;
    bool gateOpen = false;
};

void waitFor(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(condition());
}

} // namespace

TEST(WorkerProtocol, RequestsFoldAndTheLastInputWins) {
    RecordingOperator op;
    op.setInput(1);
    waitFor([&] { return op.runStarted.load(); });
    // While the first run is held, three more requests fold into one queued run.
    op.setInput(2);
    op.setInput(3);
    op.setInput(4);
    op.openGate();
    waitFor([&] { return op.runs() == 2; });
    EXPECT_TRUE(op.waitUntilIdle());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(op.runs(), 2);
    EXPECT_EQ(op.lastInput.load(), 4);
}

TEST(WorkerProtocol, WaitUntilIdleDuringARunAnswersAtOnce) {
    RecordingOperator op;
    op.setInput(7);
    waitFor([&] { return op.runStarted.load(); });
    // The request has been picked up, so nothing is queued although the run goes on.
    EXPECT_TRUE(op.waitUntilIdle());
    EXPECT_EQ(op.runs(), 0);
    op.openGate();
}

TEST(WorkerProtocol, DestructionWithAQueuedRunDoesNotStartIt) {
    auto op = std::make_unique<RecordingOperator>();
    const SharedPtr<std::atomic<int>> runs = op->completedRuns;
    op->setInput(1);
    waitFor([&] { return op->runStarted.load(); });
    op->setInput(2); // queued behind the held run
    // The destructor sets `stopping` and then waits for the held run, which the gate ends.
    std::thread opener([raw = op.get()] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        raw->openGate();
    });
    op.reset();
    opener.join();
    EXPECT_EQ(runs->load(), 1);
}

TEST(WorkerProtocol, SynchronousPullWaitsForAQueuedRun) {
    RecordingOperator op;
    op.setInput(1);
    waitFor([&] { return op.runStarted.load(); });
    op.setInput(2);
    std::atomic<bool> pulled{false};
    std::thread puller([&] {
        EXPECT_TRUE(pullColorBitmap(&op, u"", Bucket::fromSize(1, 1), 1.f, PullFlag::SYNCHRONOUS).has_value());
        pulled = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(pulled.load()); // the second request is still queued behind the held run
    op.openGate();
    puller.join();
    EXPECT_TRUE(pulled.load());
    // A plain pull never waits.
    EXPECT_TRUE(pullColorBitmap(&op, u"", Bucket::fromSize(1, 1), 1.f, 0).has_value());
}
