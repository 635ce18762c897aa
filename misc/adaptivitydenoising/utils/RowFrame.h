#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>

#include "foundation/Bitmap.h"
#include "foundation/Containers.h"
#include "foundation/ParallelFor.h"
#include "misc/adaptivitydenoising/DenoiseContext.h"

namespace Vespra::Detail {

/// Rows are handed to the workers in bands of this many, so that the patch sums of a band share
/// their overlapping rows.
inline constexpr int BAND_ROWS = 16;

/// Bands per worker in one batch of an in-place run. Every batch ends in a wait for its slowest
/// band, so with one band per worker the others idle for most of a band each time.
inline constexpr int BATCH_BANDS_PER_WORKER = 8;

/// Counts finished rows and passes progress and stop requests between the workers and the
/// context. One thread reports at a time; the others go on without waiting.
class RowProgress {
public:
    RowProgress(DenoiseContext& context, int height) : context(context), height(std::max(height, 1)) {}

    bool isAborted() const { return aborted.load(std::memory_order_relaxed); }

    void addRows(int count) {
        done.fetch_add(count, std::memory_order_relaxed);
        std::unique_lock lock(mutex, std::try_to_lock);
        if (lock.owns_lock()) {
            reportDone();
        }
    }

    /// The last report of the run, on the caller's thread; answers false when it was cancelled.
    bool finish() {
        std::lock_guard lock(mutex);
        if (!isAborted()) {
            reportDone();
        }
        return !isAborted();
    }

private:
    void reportDone() {
        const int now = done.load(std::memory_order_relaxed);
        // A filter run outside a step of its own (a helper pass) must not push into the next.
        ProgressRange& range = context.range;
        const float span = range.end - range.start;
        const float left = span > 0.f ? std::max(0.f, (range.end - range.current) / span) : 0.f;
        range.advance(std::min(float(now - reported) / float(height), left));
        reported = now;
        if (context.report()) {
            aborted.store(true, std::memory_order_relaxed);
        }
    }

    DenoiseContext& context;
    int height;
    std::atomic<int> done{0};
    int reported = 0;
    std::mutex mutex;
    std::atomic<bool> aborted{false};
};

/// Runs `runBand(firstRow, endRow, scratch)` for all bands of `height` rows in parallel;
/// answers false when the run was cancelled.
template <class Scratch, class MakeScratch, class RunBand>
bool runBandsOutOfPlace(DenoiseContext& context, int height, MakeScratch&& makeScratch, RunBand&& runBand) {
    RowProgress progress(context, height);
    const int bands = (height + BAND_ROWS - 1) / BAND_ROWS;
    parallelForWithScratch<Scratch>(context.scheduler, 0, bands, 1, makeScratch,
                                    [&](int band, Scratch& scratch) {
                                        if (progress.isAborted()) {
                                            return;
                                        }
                                        const int first = band * BAND_ROWS;
                                        const int end = std::min(height, first + BAND_ROWS);
                                        runBand(first, end, scratch);
                                        progress.addRows(end - first);
                                    });
    return progress.finish();
}

/// Runs a filter over `images` in place although each output row reads up to `margin` rows
/// around it: batches of rows write into one half of a ring per image, and a batch's half is
/// copied back only after the next batch has ended, when no later batch can read those rows any
/// more. All images have one size. `runBand(firstRow, endRow, scratch, targetRow)` writes row y
/// of image `i` to `targetRow(i, y)`.
template <class Scratch, class Pixel, class MakeScratch, class RunBand>
bool runBandsInPlace(DenoiseContext& context, ArrayView<BitmapImpl<Pixel>* const> images, int margin,
                     MakeScratch&& makeScratch, RunBand&& runBand) {
    VESPRA_ASSERT(!images.empty());
    const int width = images[0]->width();
    const int height = images[0]->height();
    const int threads = std::max(1, context.scheduler.parallelWorkerThreadsCount());
    const int bandsPerBatch =
        std::max(BATCH_BANDS_PER_WORKER * threads, (margin + BAND_ROWS - 1) / BAND_ROWS);
    const int batchRows = bandsPerBatch * BAND_ROWS;
    const std::size_t ringPixels = std::size_t(2) * std::size_t(batchRows) * std::size_t(width);
    Array<Pixel> ring(ringPixels * images.size(), UNINITIALIZED);
    RowProgress progress(context, height);
    WorkerScratch<Scratch> scratches(context.scheduler.maxParallelWorkerThreadsCount());

    auto half = [&](std::size_t image, int batch) {
        return ring.data() + image * ringPixels +
               std::size_t(batch % 2) * std::size_t(batchRows) * std::size_t(width);
    };
    auto copyBack = [&](int batch) {
        const int first = batch * batchRows;
        const int end = std::min(height, first + batchRows);
        for (std::size_t i = 0; i < images.size(); ++i) {
            const Pixel* source = half(i, batch);
            std::copy(source, source + std::size_t(end - first) * std::size_t(width), images[i]->row(first));
        }
    };

    const int batches = (height + batchRows - 1) / batchRows;
    for (int batch = 0; batch < batches && !progress.isAborted(); ++batch) {
        const int batchFirst = batch * batchRows;
        const int batchEnd = std::min(height, batchFirst + batchRows);
        auto targetRow = [&](int image, int y) {
            return half(std::size_t(image), batch) + std::size_t(y - batchFirst) * std::size_t(width);
        };
        const int bands = (batchEnd - batchFirst + BAND_ROWS - 1) / BAND_ROWS;
        parallelFor(context.scheduler, 0, bands, 1, [&](int band) {
            if (progress.isAborted()) {
                return;
            }
            const int first = batchFirst + band * BAND_ROWS;
            const int end = std::min(batchEnd, first + BAND_ROWS);
            runBand(first, end, scratches.get(makeScratch), targetRow);
            progress.addRows(end - first);
        });
        if (batch > 0) {
            copyBack(batch - 1);
        }
        if (batch == batches - 1 && !progress.isAborted()) {
            copyBack(batch);
        }
    }
    return progress.finish();
}

/// `runBandsInPlace` of one image; `runBand(firstRow, endRow, scratch, targetRow)` writes row y
/// to `targetRow(y)`.
template <class Scratch, class Pixel, class MakeScratch, class RunBand>
bool runBandsInPlace(DenoiseContext& context, BitmapImpl<Pixel>& image, int margin, MakeScratch&& makeScratch,
                     RunBand&& runBand) {
    BitmapImpl<Pixel>* const images[] = {&image};
    return runBandsInPlace<Scratch>(context, ArrayView<BitmapImpl<Pixel>* const>(images, 1), margin,
                                    makeScratch, [&](int first, int end, Scratch& scratch, auto& targetRow) {
                                        auto single = [&](int y) { return targetRow(0, y); };
                                        runBand(first, end, scratch, single);
                                    });
}

} // namespace Vespra::Detail
