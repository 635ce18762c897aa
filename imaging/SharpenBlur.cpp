#include "imaging/SharpenBlur.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <emmintrin.h>

#include "foundation/Float4.h"
#include "foundation/ParallelFor.h"

namespace Vespra {

namespace {

constexpr int PARALLEL_GRAIN = 12;
/// Columns filtered together, so that each cache line of the bitmap is read once for them.
constexpr int COLUMN_GROUP = 3;
constexpr int PASS_COUNT = 4;

/// A running sum of four lanes in double precision, so that long sums do not drift.
class Accumulator {
public:
    void add(Float4 product) {
        low = _mm_add_pd(low, _mm_cvtps_pd(product.v));
        high = _mm_add_pd(high, _mm_cvtps_pd(_mm_movehl_ps(product.v, product.v)));
    }
    void subtract(Float4 product) {
        low = _mm_sub_pd(low, _mm_cvtps_pd(product.v));
        high = _mm_sub_pd(high, _mm_cvtps_pd(_mm_movehl_ps(product.v, product.v)));
    }
    Float4 value() const { return _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high)); }

private:
    __m128d low = _mm_setzero_pd();
    __m128d high = _mm_setzero_pd();
};

/// A line of `count` pixels, `stride` pixels apart.
template <class Pixel>
struct Line {
    Pixel* first;
    std::ptrdiff_t stride;
    int count;

    Pixel& operator[](int index) const { return first[std::ptrdiff_t(index) * stride]; }
};

Float4 sampleAt(const Line<const Rgb>& line, int index) {
    return Float4(line[std::clamp(index, 0, line.count - 1)]);
}

/// One extended box pass; the line's ends repeat their edge pixels. `source` and `target` must
/// not overlap.
void boxPass(const GaussianParams& params, const Line<const Rgb>& source, const Line<Rgb>& target) {
    const int radius = params.boxRadius;
    const int count = source.count;
    const Float4 outer(params.outerWeight);
    const Float4 inner(params.innerExtra);
    const Float4 full(params.outerWeight + params.innerExtra);

    Accumulator sum;
    sum.add(Float4(float(radius + 1) * (params.outerWeight + params.innerExtra) + params.outerWeight) *
            sampleAt(source, 0));
    for (int k = 1; k <= radius; ++k) {
        sum.add(full * sampleAt(source, k));
    }
    sum.add(outer * sampleAt(source, radius + 1));
    sum.value().store(&target[0].r);

    const auto step = [&](int i, Float4 entering, Float4 leaving, Float4 growing, Float4 shrinking) {
        sum.add(outer * entering);
        sum.subtract(outer * leaving);
        sum.add(inner * growing);
        sum.subtract(inner * shrinking);
        sum.value().store(&target[i].r);
    };
    const auto clampedStep = [&](int i) {
        step(i, sampleAt(source, i + radius + 1), sampleAt(source, i - radius - 2),
             sampleAt(source, i + radius), sampleAt(source, i - radius - 1));
    };
    // Only the ends need their indices clamped.
    const int middleBegin = std::min(radius + 2, count);
    const int middleEnd = std::max(middleBegin, count - radius - 1);
    for (int i = 1; i < middleBegin; ++i) {
        clampedStep(i);
    }
    for (int i = middleBegin; i < middleEnd; ++i) {
        step(i, Float4(source[i + radius + 1]), Float4(source[i - radius - 2]), Float4(source[i + radius]),
             Float4(source[i - radius - 1]));
    }
    for (int i = middleEnd; i < count; ++i) {
        clampedStep(i);
    }
}

/// Four passes between `line` and `scratch`, ending in `line`.
void fourPasses(const GaussianParams& params, const Line<Rgb>& line, const Line<Rgb>& scratch) {
    for (int pass = 0; pass < PASS_COUNT; pass += 2) {
        boxPass(params, {line.first, line.stride, line.count}, scratch);
        boxPass(params, {scratch.first, scratch.stride, scratch.count}, line);
    }
}

/// Runs `body(index, scratch)` over [0, count) with a scratch array of `scratchSize` pixels
/// that belongs to the calling thread.
template <class Body>
void forEachWithScratch(bool parallel, int count, std::size_t scratchSize, Body&& body) {
    const auto makeScratch = [&] { return Array<Rgb>(scratchSize); };
    if (parallel) {
        parallelForWithScratch<Array<Rgb>>(Scheduler::highPriorityInstance(), 0, count, PARALLEL_GRAIN,
                                           makeScratch, body);
        return;
    }
    Array<Rgb> scratch = makeScratch();
    for (int i = 0; i < count; ++i) {
        body(i, scratch);
    }
}

template <class Body>
void forEachRow(bool parallel, int count, Body&& body) {
    if (parallel) {
        parallelFor(Scheduler::highPriorityInstance(), 0, count, PARALLEL_GRAIN, body);
        return;
    }
    for (int i = 0; i < count; ++i) {
        body(i);
    }
}

void clampToOne(BitmapImpl<Rgb>& bitmap) {
    for (Rgb& pixel : bitmap.view()) {
        min(Float4(pixel), Float4(1.f)).store(&pixel.r);
    }
}

void filterRows(bool parallel, const GaussianParams& params, BitmapImpl<Rgb>& bitmap, bool clampFirst) {
    const int width = bitmap.width();
    forEachWithScratch(parallel, bitmap.height(), std::size_t(width), [&](int y, Array<Rgb>& scratch) {
        Rgb* row = bitmap.row(y);
        if (clampFirst) {
            for (int x = 0; x < width; ++x) {
                min(Float4(row[x]), Float4(1.f)).store(&row[x].r);
            }
        }
        fourPasses(params, {row, 1, width}, {scratch.data(), 1, width});
    });
}

void filterColumns(bool parallel, const GaussianParams& params, BitmapImpl<Rgb>& bitmap) {
    const int width = bitmap.width();
    const int height = bitmap.height();
    const int groupCount = (width + COLUMN_GROUP - 1) / COLUMN_GROUP;
    const std::size_t bufferSize = std::size_t(COLUMN_GROUP) * std::size_t(height);
    forEachWithScratch(parallel, groupCount, 2 * bufferSize, [&](int group, Array<Rgb>& scratch) {
        const int firstColumn = group * COLUMN_GROUP;
        const int columns = std::min(COLUMN_GROUP, width - firstColumn);
        for (int c = 0; c < columns; ++c) {
            const Line<Rgb> column{bitmap.data() + firstColumn + c, width, height};
            const Line<Rgb> first{scratch.data() + std::size_t(c) * std::size_t(height), 1, height};
            const Line<Rgb> second{scratch.data() + bufferSize + std::size_t(c) * std::size_t(height), 1,
                                   height};
            boxPass(params, {column.first, column.stride, height}, first);
            boxPass(params, {first.first, 1, height}, second);
            boxPass(params, {second.first, 1, height}, first);
            boxPass(params, {first.first, 1, height}, column);
        }
    });
}

} // namespace

GaussianParams GaussianParams::forRadius(float radius, int step, int width, int height) {
    GaussianParams params;
    params.size = std::min(width, height);
    if (params.size < 3) {
        return params;
    }
    const float s = radius / float(std::max(step, 1)) + 0.5f;
    // The ideal half width of a box for four passes approximating a Gaussian of deviation s / 3.
    float l = 0.5f * std::sqrt(s * s * 0.33333334f + 1.f) - 0.5f;
    l = std::min(l, float(std::max(params.size - 3, 0) / 2));
    const float variance = ((2.f * l + 1.f) * (2.f * l + 1.f) - 1.f) * 0.083333336f;
    const float whole = std::trunc(l);
    const float a = (0.16666667f / (variance - (whole + 1.f) * (whole + 1.f))) *
                    ((whole * (whole + 1.f) - 3.f * variance) * (2.f * whole + 1.f));
    const float d = 1.f / (2.f * a + 2.f * whole + 1.f);
    params.boxRadius = int(whole);
    params.outerWeight = d * a;
    params.innerExtra = (1.f - a) * d;
    return params;
}

BitmapImpl<Rgb> gaussian(bool parallel, const GaussianParams& params, const BitmapImpl<Rgb>& source,
                         bool clampFirst) {
    BitmapImpl<Rgb> result = source;
    if (!params.filters()) {
        if (clampFirst) {
            clampToOne(result);
        }
        return result;
    }
    filterRows(parallel, params, result, clampFirst);
    filterColumns(parallel, params, result);
    return result;
}

SharpenBlur::SharpenBlur()
    : sharpenGain(std::numeric_limits<float>::quiet_NaN()),
      sharpenRadius(std::numeric_limits<float>::quiet_NaN()),
      blurRadius(std::numeric_limits<float>::quiet_NaN()) {}

void SharpenBlur::configure(bool enable, float amount, float sharpRadius, float blur) {
    sharpenGain = 2.f * amount;
    sharpenRadius = sharpRadius;
    blurRadius = blur;
    enabled = enable && (blurRadius > 0.f || sharpens());
}

int SharpenBlur::requiredMargin(int width, int height, int step) const {
    if (!enabled) {
        return 0;
    }
    step = std::max(step, 1);
    int sum = 0;
    const auto add = [&](float radius) {
        const GaussianParams params = GaussianParams::forRadius(radius, step, width, height);
        if (params.filters()) {
            sum += 4 * params.boxRadius + 4;
        }
    };
    if (blurRadius > 0.f) {
        add(blurRadius);
    }
    if (sharpens()) {
        add(sharpenRadius);
    }
    return sum + (step - sum % step) % step;
}

void SharpenBlur::apply(bool parallel, BitmapImpl<Rgb>& bitmap, int step) const {
    if (!enabled) {
        return;
    }
    if (blurRadius > 0.f) {
        bitmap =
            gaussian(parallel, GaussianParams::forRadius(blurRadius, step, bitmap.width(), bitmap.height()),
                     bitmap, false);
    }
    if (sharpens()) {
        const BitmapImpl<Rgb> detector = gaussian(
            parallel, GaussianParams::forRadius(sharpenRadius, step, bitmap.width(), bitmap.height()), bitmap,
            true);
        sharpen(parallel, bitmap, detector);
    }
}

// Only the part of the picture below white takes part in the difference, which keeps
// highlights above 1 from ringing.
void SharpenBlur::sharpen(bool parallel, BitmapImpl<Rgb>& bitmap, const BitmapImpl<Rgb>& detector) const {
    const Float4 gain(sharpenGain);
    const int width = bitmap.width();
    forEachRow(parallel, bitmap.height(), [&](int y) {
        Rgb* row = bitmap.row(y);
        const Rgb* blurred = detector.row(y);
        for (int x = 0; x < width; ++x) {
            const Float4 value(row[x]);
            const Float4 detail = min(value, Float4(1.f)) - Float4(blurred[x]);
            max(value + gain * detail, Float4(0.f)).store(&row[x].r);
        }
    });
}

Bucket SharpenBlur::enlargeRegion(const Bucket& region, int margin, int step, Pixel imageSize) {
    step = std::max(step, 1);
    const auto low = [&](int minimum) {
        const int grown = minimum - margin;
        return grown < 0 ? (margin - minimum) % step : grown;
    };
    return {low(region.x0), low(region.y0), std::min(region.x1 + margin, imageSize.x),
            std::min(region.y1 + margin, imageSize.y)};
}

Bucket SharpenBlur::cutRegion(const Bucket& region, const Bucket& enlarged, int step) {
    step = std::max(step, 1);
    return {(region.x0 - enlarged.x0) / step, (region.y0 - enlarged.y0) / step,
            (region.x1 - enlarged.x0 - 1) / step + 1, (region.y1 - enlarged.y0 - 1) / step + 1};
}

BitmapImpl<Rgb> SharpenBlur::cut(const BitmapImpl<Rgb>& bitmap, const Bucket& part) {
    BitmapImpl<Rgb> result(part.width(), part.height());
    for (int y = 0; y < part.height(); ++y) {
        std::copy_n(bitmap.row(part.y0 + y) + part.x0, part.width(), result.row(y));
    }
    return result;
}

} // namespace Vespra
