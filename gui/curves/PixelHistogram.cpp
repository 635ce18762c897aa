#include "gui/curves/PixelHistogram.h"

#include <mutex>
#include <vector>

#include "foundation/Locks.h"
#include "foundation/ParallelFor.h"
#include "foundation/Scheduler.h"

namespace Vespra::Wx {

namespace {

/// A cache line of counters: bins of different threads never share one.
struct alignas(Detail::CACHE_LINE_SIZE) CounterLine {
    std::uint64_t counters[Detail::CACHE_LINE_SIZE / sizeof(std::uint64_t)] = {};
};
constexpr std::size_t COUNTERS_PER_LINE = std::size(CounterLine{}.counters);

/// Bins for each worker of a scheduler, and one set more for threads outside it, which share
/// it under a lock.
class WorkerBins {
public:
    WorkerBins(int workerCount, int binCount)
        : binCount(std::size_t(binCount)),
          linesPerSet((this->binCount + COUNTERS_PER_LINE - 1) / COUNTERS_PER_LINE),
          lines(std::size_t(workerCount + 1) * linesPerSet), setCount(std::size_t(workerCount + 1)) {}

    /// Set 0 belongs to threads outside the scheduler, set i + 1 to its worker i.
    std::uint64_t* set(std::size_t index) { return lines[index * linesPerSet].counters; }

    /// Runs `count(bins)` with the bins of the calling thread.
    template <class Count>
    void withBinsOfThisThread(Count&& count) {
        const Optional<int> worker = Scheduler::getWorkerThreadIndex();
        if (worker && std::size_t(*worker) + 1 < setCount) {
            count(set(std::size_t(*worker) + 1));
            return;
        }
        std::lock_guard guard(outsideLock);
        count(set(0));
    }

    /// All sets added up.
    Array<std::uint64_t> total() {
        Array<std::uint64_t> sum(binCount, 0);
        for (std::size_t s = 0; s < setCount; ++s) {
            const std::uint64_t* bins = set(s);
            for (std::size_t i = 0; i < binCount; ++i) {
                sum[i] += bins[i];
            }
        }
        return sum;
    }

private:
    std::size_t binCount;
    std::size_t linesPerSet;
    std::vector<CounterLine> lines;
    std::size_t setCount;
    SimpleLock outsideLock;
};

float channelValue(const Rgb& pixel, int channel) {
    return channel == 0 ? (pixel.r + pixel.g + pixel.b) / 3.f : pixel[channel - 1];
}

void countRow(const Rgb* row, int width, Range range, int channel, int binCount, std::uint64_t* bins) {
    const float size = range.size();
    for (int x = 0; x < width; ++x) {
        const float position = (channelValue(row[x], channel) - range.min) / size * float(binCount);
        // int() truncates towards 0, so positions above -1 land in bin 0 as they always have.
        if (position > -1.f && position < float(binCount)) {
            ++bins[int(position)];
        }
    }
}

} // namespace

Histogram countPixelHistogram(const BitmapImpl<Rgb, 0>& pixels, Range range, int channel, int binCount) {
    Histogram histogram{Array<std::uint64_t>(std::size_t(std::max(binCount, 0)), 0), range};
    if (binCount <= 0 || pixels.isEmpty() || !(range.size() > 0.f)) {
        return histogram;
    }
    Scheduler& scheduler = Scheduler::highPriorityInstance();
    WorkerBins bins(scheduler.maxParallelWorkerThreadsCount(), binCount);
    parallelFor(scheduler, 0, pixels.height(), 1, [&](int y) {
        bins.withBinsOfThisThread([&](std::uint64_t* own) {
            countRow(pixels.row(y), pixels.width(), range, channel, binCount, own);
        });
    });
    histogram.counts = bins.total();
    return histogram;
}

} // namespace Vespra::Wx
