#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "foundation/ParallelFor.h"
#include "foundation/Scheduler.h"
#include "foundation/Utils.h"

using namespace Vespra;

namespace {

/// Spins until `flag` is set, so a worker stays busy for as long as a test needs.
void spinUntil(const std::atomic<bool>& flag) {
    while (!flag.load()) {
        std::this_thread::yield();
    }
}

} // namespace

TEST(Scheduler, ParallelLoopsCoverEveryIndexOnce) {
    Scheduler scheduler(u"test", 0);
    const std::pair<int, int> ranges[] = {{0, 0}, {5, 4}, {0, 1}, {3, 104}, {-7, 50}};
    for (const int grain : {1, 3, 7, 1000, 0, -5}) {
        for (const auto& [begin, end] : ranges) {
            const int count = std::max(end - begin, 0);
            std::vector<std::atomic<int>> hits(std::size_t(count) + 1);
            parallelFor(scheduler, begin, end, grain, [&](int index) { ++hits[std::size_t(index - begin)]; });
            for (int i = 0; i < count; ++i) {
                ASSERT_EQ(hits[std::size_t(i)].load(), 1) << "grain " << grain << " index " << begin + i;
            }

            std::atomic<int> covered = 0;
            std::atomic<int> chunks = 0;
            parallelForRange(scheduler, begin, end, grain, [&](int rangeBegin, int rangeEnd) {
                EXPECT_LT(rangeBegin, rangeEnd);
                EXPECT_LE(rangeEnd - rangeBegin, std::max(grain, 1));
                EXPECT_TRUE(rangeBegin >= begin && rangeEnd <= end);
                covered += rangeEnd - rangeBegin;
                ++chunks;
            });
            EXPECT_EQ(covered.load(), count);
            // Chunks never exceed the grain, so there are at least count/grain of them.
            EXPECT_GE(chunks.load(), (count + std::max(grain, 1) - 1) / std::max(grain, 1));
        }
    }
}

TEST(Scheduler, ScratchBelongsToOneThreadAtATime) {
    Scheduler scheduler(u"test", 0);
    const int slots = scheduler.maxParallelWorkerThreadsCount() + 1;
    std::vector<std::atomic<bool>> inUse(std::size_t(slots) * 16);
    std::atomic<int> created = 0;
    std::atomic<int> shared = 0;
    std::atomic<int> total = 0;
    struct Scratch {
        int id;
        int count;
    };
    const auto makeScratch = [&] { return Scratch{created++, 0}; };
    const auto body = [&](int, Scratch& scratch) {
        if (inUse[std::size_t(scratch.id)].exchange(true)) {
            ++shared;
        }
        ++scratch.count;
        ++total;
        std::this_thread::yield();
        inUse[std::size_t(scratch.id)] = false;
    };
    parallelForWithScratch<Scratch>(scheduler, 0, 5000, 1, makeScratch, body);
    EXPECT_EQ(shared.load(), 0);
    EXPECT_EQ(total.load(), 5000);
    EXPECT_LE(created.load(), slots);

    // A loop inside the body of another loop of the same pool: each inner loop has its own
    // scratch, and none of them may be shared either.
    created = 0;
    total = 0;
    parallelFor(scheduler, 0, 8, 1,
                [&](int) { parallelForWithScratch<Scratch>(scheduler, 0, 300, 7, makeScratch, body); });
    EXPECT_EQ(shared.load(), 0);
    EXPECT_EQ(total.load(), 8 * 300);
    EXPECT_LE(created.load(), 8 * slots);
}

TEST(Scheduler, WorkerIndexIsSetOnlyInsideThePool) {
    Scheduler scheduler(u"test", 0);
    Scheduler other(u"other", 0);
    EXPECT_FALSE(Scheduler::getWorkerThreadIndex().has_value());
    EXPECT_FALSE(Scheduler::isWorkerThread());

    std::atomic<int> wrong = 0;
    parallelFor(scheduler, 0, 200, 1, [&](int) {
        const Optional<int> index = Scheduler::getWorkerThreadIndex();
        if (!index || *index < 0 || *index >= scheduler.maxParallelWorkerThreadsCount() ||
            Scheduler::getWorkerThreadScheduler() != &scheduler) {
            ++wrong;
        }
        // Pixel threads read denormals as zero: 1e-38 * 1e-3 is a denormal otherwise.
        volatile float tiny = 1e-38f;
        if (tiny * 1e-3f != 0.0f) {
            ++wrong;
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    // The caller joined the loop, and has its own float mode back.
    volatile float tiny = 1e-38f;
    EXPECT_GT(tiny * 1e-3f, 0.0f);

    scheduler.execute([&] {
        other.execute([&] { EXPECT_EQ(Scheduler::getWorkerThreadScheduler(), &other); });
        // Back from the inner pool, the thread is in the outer one again.
        EXPECT_EQ(Scheduler::getWorkerThreadScheduler(), &scheduler);
        EXPECT_TRUE(Scheduler::getWorkerThreadIndex().has_value());
    });
    EXPECT_FALSE(Scheduler::getWorkerThreadIndex().has_value());
    EXPECT_EQ(Scheduler::getWorkerThreadScheduler(), nullptr);
}

TEST(Scheduler, ThreadCountCanChange) {
    Scheduler scheduler(u"test", 0);
    EXPECT_EQ(scheduler.maxParallelWorkerThreadsCount(), Utils::getLogicalProcessorCount());
    scheduler.setParallelWorkerThreadsCount(1);
    EXPECT_EQ(scheduler.maxParallelWorkerThreadsCount(), 1);
    EXPECT_EQ(scheduler.parallelWorkerThreadsCount(), 1);
    std::atomic<int> sum = 0;
    parallelFor(scheduler, 1, 101, 3, [&](int index) {
        EXPECT_EQ(Scheduler::getWorkerThreadIndex().value_or(-1), 0);
        sum += index;
    });
    EXPECT_EQ(sum.load(), 5050);
    auto task = makeShared<FunctionTask>([&] { sum = 0; });
    scheduler.submit(task);
    // A pool of one thread still starts tasks on its own.
    EXPECT_TRUE(task->waitFor(10000));
    scheduler.setParallelWorkerThreadsCount(0);
    EXPECT_EQ(scheduler.maxParallelWorkerThreadsCount(), Utils::getLogicalProcessorCount());
}

TEST(Task, CancelStopsOnlyTasksThatHaveNotStarted) {
    // Two threads: one for the caller of loops, one worker, which the blocker occupies.
    Scheduler scheduler(u"test", 0);
    scheduler.setParallelWorkerThreadsCount(2);
    std::atomic<bool> started = false;
    std::atomic<bool> release = false;
    auto blocker = makeShared<FunctionTask>([&] {
        started = true;
        spinUntil(release);
    });
    scheduler.submit(blocker);
    spinUntil(started);

    std::atomic<int> runs = 0;
    auto cancelled = makeShared<FunctionTask>([&] { ++runs; });
    auto kept = makeShared<FunctionTask>([&] { ++runs; });
    scheduler.submit(cancelled);
    scheduler.submit(kept);
    EXPECT_FALSE(blocker->cancel());
    EXPECT_TRUE(cancelled->cancel());
    EXPECT_FALSE(cancelled->cancel());
    cancelled->wait();
    EXPECT_TRUE(cancelled->waitFor(0));
    EXPECT_FALSE(kept->waitFor(0));

    release = true;
    EXPECT_TRUE(kept->waitFor(10000));
    scheduler.waitForAll();
    EXPECT_EQ(runs.load(), 1);
    EXPECT_FALSE(kept->cancel());
    EXPECT_TRUE(kept->getWorkerThreadIndex().has_value());
    EXPECT_FALSE(cancelled->getWorkerThreadIndex().has_value());
}

TEST(Task, MoreUrgentTasksStartFirst) {
    Scheduler scheduler(u"test", 0);
    scheduler.setParallelWorkerThreadsCount(2);
    std::atomic<bool> started = false;
    std::atomic<bool> release = false;
    scheduler.submit(makeShared<FunctionTask>([&] {
        started = true;
        spinUntil(release);
    }));
    spinUntil(started);

    std::mutex mutex;
    std::string order;
    std::vector<SharedPtr<Task>> tasks;
    const std::pair<char, TaskPriority> submitted[] = {
        {'a', TaskPriority::LOW},    {'b', TaskPriority::HIGHEST}, {'c', TaskPriority::NORMAL},
        {'d', TaskPriority::LOWEST}, {'e', TaskPriority::HIGH},    {'f', TaskPriority::HIGHEST}};
    for (const auto& [name, priority] : submitted) {
        tasks.push_back(makeShared<FunctionTask>([&, name] {
            std::lock_guard lock(mutex);
            order += name;
        }));
        scheduler.submit(tasks.back(), priority);
    }
    release = true;
    // `waitFor` never runs a task itself, so the one worker alone decides the order.
    for (const SharedPtr<Task>& task : tasks) {
        EXPECT_TRUE(task->waitFor(10000));
    }
    EXPECT_EQ(order, "bfecad");
}

TEST(Task, WaitRunsAPendingTaskAndRethrowsItsException) {
    std::thread::id ranOn;
    FunctionTask local([&] { ranOn = std::this_thread::get_id(); });
    local.wait();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_FALSE(local.getWorkerThreadIndex().has_value());
    EXPECT_FALSE(local.cancel());

    Scheduler scheduler(u"test", 0);
    auto failing = makeShared<FunctionTask>([] { throw Exception(u"broken tile"); });
    scheduler.submit(failing);
    try {
        failing->wait();
        FAIL() << "no exception";
    } catch (const Exception& error) {
        EXPECT_EQ(error.getMessage(), u"broken tile");
    }
    EXPECT_THROW(failing->waitFor(0), Exception);
}

TEST(Scheduler, WorkersTakeTheNamePriorityAndFloatModeOfThePool) {
    Scheduler scheduler(u"background-pool-long", -2);
    int nice = 0;
    std::string name(16, '\0');
    float product = 1;
    auto task = makeShared<FunctionTask>([&] {
        nice = getpriority(PRIO_PROCESS, id_t(gettid()));
        pthread_getname_np(pthread_self(), name.data(), name.size());
        volatile float tiny = 1e-38f;
        product = tiny * 1e-3f;
    });
    scheduler.submit(task);
    ASSERT_TRUE(task->waitFor(10000));
    EXPECT_GE(nice, 2);
    EXPECT_STREQ(name.c_str(), "background-pool");
    EXPECT_EQ(product, 0.0f);
}
