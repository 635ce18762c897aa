#include "imaging/BlurCascade.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "foundation/Exception.h"
#include "foundation/Float4.h"
#include "foundation/VectorClones.h"
#include "imaging/BandInterleave.h"
#include "imaging/RowSpan.h"

namespace Vespra {

namespace {

using Bitmap = BitmapImpl<Rgb>;

constexpr int FLOATS_PER_PIXEL = 4;
/// Columns of one column pass task: 512 bytes of each row, read and written whole.
constexpr int STRIP_PIXELS = 32;
constexpr int ROW_GRAIN = 12;
/// Pixels of a band moved to or from its rows at a time: the 16 row pieces and their place in the
/// band take 16 KB, so each cache line is filled whole while it stays close.
constexpr std::int32_t CHUNK_PIXELS = 32;

/// out[i] = the mean of in[i - radius .. i + radius] for single pixels `step` pixels apart, closed
/// into a ring of `length`.
void boxFilterRing(const Rgb* in, Rgb* out, std::ptrdiff_t step, std::int32_t length, std::int32_t radius) {
    const auto at = [length, step](const Rgb* line, std::int32_t j) {
        j %= length;
        return Float4(line[(j < 0 ? j + length : j) * step]);
    };
    const Float4 scale(1.f / float(2 * radius + 1));
    Float4 sum;
    for (std::int32_t j = -radius; j <= radius; ++j) {
        sum += at(in, j);
    }
    for (std::int32_t i = 0; i < length; ++i) {
        (sum * scale).store(&out[i * step].r);
        sum += at(in, i + radius + 1) - at(in, i - radius);
    }
}

/// The row radius of row `y` of a panorama: wider towards the poles, so that the blur covers
/// the same angle on the sphere.
std::int32_t panoramaRadius(std::int32_t radius, std::int32_t y, Pixel size) {
    const float sine = std::sin(float(y) * std::numbers::pi_v<float> / float(size.y));
    return std::int32_t(std::min(float(radius) / sine, float(size.x) * 0.5f));
}

/// How many steps ahead of the one entering it a walk with vectors of `Vector` asks for the steps
/// to come: 8 for AVX-512. The walks of narrower vectors are narrower, so their steps go by faster
/// and they look further ahead.
template <class Vector>
constexpr std::int32_t PREFETCH_STEPS = 8 * std::int32_t(64 / sizeof(Vector));

/// Pixels of one walk with vectors of `PIXELS`: the running sums of its two passes take 16 of the
/// 32 registers of AVX-512, or 8 of the 16 of AVX and SSE.
template <int PIXELS>
constexpr int WALK_PIXELS = PIXELS == 4 ? 32 : 4 * PIXELS;

/// Both box passes of radius `radius` over `count` steps of `N` vectors, the first step at
/// `start` and the next `stride` floats further on, in one walk along the steps: each output is
/// the mean of the means of the steps within `radius`, with black outside. Down a strip of
/// columns a step is a row; along an interleaved band it is a pixel of each of its rows. The
/// second pass trails the first by `radius` steps and takes its inputs from `ring` (2 * radius
/// + 1 steps of `N` vectors), so the steps are read and written once and the running sums stay
/// in registers. The first pass reads each step for the last time just before the second pass
/// writes it.
template <class Vector, int N>
VESPRA_VECTOR_CLONES void blurInPlace(float* start, std::ptrdiff_t stride, std::int32_t count,
                                      std::int32_t radius, Vector* __restrict ring) {
    const Vector scale = Vector{} + 1.f / float(2 * radius + 1);
    const std::int32_t ringSteps = 2 * radius + 1;
    const auto at = [&](std::int32_t y) {
        return reinterpret_cast<Vector*>(start + std::ptrdiff_t(y) * stride);
    };
    const auto ringStep = [&](std::int32_t j) { return ring + std::ptrdiff_t(j % ringSteps) * N; };
    const std::int32_t lead = std::min(radius, count);
    Vector first[N] = {};
    Vector second[N] = {};
    for (std::int32_t j = 0; j < lead; ++j) {
#pragma GCC unroll 8
        for (int k = 0; k < N; ++k) {
            first[k] += at(j)[k];
        }
    }
    // One step of a running sum: `entering` joins the window, its mean goes to `out`, and
    // `leaving` goes. Samples enter a window after its output only when they exist, and leave it
    // once the window has passed them: the same sums, in the same order, as two separate passes.
    const auto boxStep = [&scale](Vector(&sums)[N], const Vector* entering, Vector* out,
                                  const Vector* leaving) {
#pragma GCC unroll 8
        for (int k = 0; k < N; ++k) {
            if (entering) {
                sums[k] += entering[k];
            }
            out[k] = sums[k] * scale;
            if (leaving) {
                sums[k] -= leaving[k];
            }
        }
    };
    const auto secondPass = [&](std::int32_t i, const Vector* entering) {
        boxStep(second, entering, at(i), i >= radius ? ringStep(i - radius) : nullptr);
    };
    for (std::int32_t j = 0; j < count; ++j) {
        // Down a strip each step lies in a page of its own, where the processor's own prefetching
        // does not follow; the steps to come are asked for ahead of time instead.
        if (j + radius + PREFETCH_STEPS<Vector> < count) {
            const auto* ahead = reinterpret_cast<const char*>(at(j + radius + PREFETCH_STEPS<Vector>));
            for (std::size_t line = 0; line < sizeof(Vector) * N; line += Detail::CACHE_LINE_SIZE) {
                __builtin_prefetch(ahead + line);
            }
        }
        Vector* between = ringStep(j);
        boxStep(first, j + radius < count ? at(j + radius) : nullptr, between,
                j >= radius ? at(j - radius) : nullptr);
        if (j < lead) {
#pragma GCC unroll 8
            for (int k = 0; k < N; ++k) {
                second[k] += between[k];
            }
        }
        if (j >= radius) {
            secondPass(j - radius, between);
        }
    }
    for (std::int32_t i = std::max(0, count - radius); i < count; ++i) {
        secondPass(i, nullptr);
    }
}

/// light (+)= the light of the `pixels` pixels of `work`, a multiple of four.
VESPRA_VECTOR_CLONES [[gnu::flatten]] void addLight(const Rgb* __restrict work, Rgb* __restrict light,
                                                    std::size_t pixels, const PixelLight& adds,
                                                    bool overwrite) {
    withRegisterPixels([&](auto lanes) [[gnu::always_inline]] {
        constexpr int PIXELS = decltype(lanes)::value;
        const PixelLight::Lanes<PIXELS> perPixel = adds.lanes<PIXELS>();
        for (std::size_t i = 0; i < pixels; i += PIXELS) {
            perPixel.put(pixelsAt<PIXELS>(work + i), pixelsAt<PIXELS>(light + i), !overwrite);
        }
    });
}

/// The weighted, coloured light of one level.
class LevelAdder {
public:
    LevelAdder(const BlurLevel& level, float scale)
        : light{scale * level.weight * (level.colorMix > 0.f ? 1.f - level.colorMix : 1.f),
                // Black when the level takes on no hue.
                level.colorMix > 0.f ? level.color * (scale * level.weight * level.colorMix)
                                     : Rgb(0.f, 0.f, 0.f, 0.f)} {}

    /// out (+)= the light of `work`, over `length` pixels, a multiple of four.
    void apply(const Rgb* work, Rgb* out, std::size_t length, bool overwrite) const {
        VESPRA_ASSERT(length % 4 == 0);
        addLight(work, out, length, light, overwrite);
    }

    const PixelLight& perPixel() const { return light; }

private:
    PixelLight light;
};

/// The levels worked in one sweep over the rows: the first one, whose column passes come
/// before the sweep, and the following ones that need no column pass.
struct LevelRange {
    int begin;
    int end;
};

/// Calls `body` on the pieces of `span`, CHUNK_PIXELS at a time.
template <class Body>
void forEachChunk(RowSpan span, Body&& body) {
    for (std::int32_t begin = span.begin; begin < span.end; begin += CHUNK_PIXELS) {
        body(RowSpan{begin, std::min(begin + CHUNK_PIXELS, span.end)});
    }
}

/// What a sweep leaves: whether it overwrites `out` rather than adding to it, and whether a later
/// sweep still needs the blurred picture.
struct SweepOutput {
    bool overwrite;
    bool keepWork;
};

Stack<LevelRange> rowSweeps(const BlurLevels& levels) {
    Stack<LevelRange> sweeps;
    for (int i = 0; i < BLUR_LEVEL_COUNT; ++i) {
        if (i == 0 || levels[std::size_t(i)].radiusY > 0) {
            sweeps.push({i, i + 1});
        } else {
            sweeps.back().end = i + 1;
        }
    }
    return sweeps;
}

/// The scratch of one thread for a band of rows: the band interleaved (pixel x of band row k at
/// x * BAND_ROWS + k), the pass between the two of a blur, and the band's light.
struct BandScratch {
    Array<Rgb> band;
    Array<Rgb> between;
    Array<Rgb> light;

    explicit BandScratch(std::int32_t width)
        : band(std::size_t(width) * BAND_ROWS), between(band.size()), light(band.size()) {}
};

/// The scratch of one thread for a strip of columns: the ring of the first column pass.
struct StripScratch {
    Array<Rgb> ring;

    explicit StripScratch(std::int32_t height) : ring(std::size_t(height + 1) * STRIP_PIXELS) {}
};

float* floats(Rgb* pixels) {
    return &pixels->r;
}

/// Both column passes over a strip of `pixels` columns, at most STRIP_PIXELS, in walks as wide as
/// the registers hold; a strip cut short at the picture's right edge ends with walks of one
/// vector, and then of one pixel.
void blurStripColumns(float* top, std::ptrdiff_t stride, std::int32_t count, std::int32_t pixels,
                      std::int32_t radius, Rgb* ringPixels) {
    withRegisterPixels([&](auto lanes) {
        constexpr int PIXELS = decltype(lanes)::value;
        constexpr int WALK = WALK_PIXELS<PIXELS>;
        using Vector = PixelVector<PIXELS>;
        auto* ring = reinterpret_cast<Vector*>(ringPixels);
        std::int32_t x = 0;
        for (; x + WALK <= pixels; x += WALK) {
            blurInPlace<Vector, WALK / PIXELS>(top + x * FLOATS_PER_PIXEL, stride, count, radius, ring);
        }
        for (; x + PIXELS <= pixels; x += PIXELS) {
            blurInPlace<Vector, 1>(top + x * FLOATS_PER_PIXEL, stride, count, radius, ring);
        }
        for (; x < pixels; ++x) {
            blurInPlace<PixelVector<1>, 1>(top + x * FLOATS_PER_PIXEL, stride, count, radius,
                                           reinterpret_cast<PixelVector<1>*>(ringPixels));
        }
    });
}

bool isBlack(const Rgb& pixel) {
    const __m128i bits = _mm_castps_si128(Float4(pixel).v);
    return _mm_testz_si128(bits, bits) != 0;
}

/// Runs the cascade over `work`, keeping for every row the span outside which it is black. Light
/// only spreads as far as the radii reach, so a thresholded picture with a few bright areas is
/// black almost everywhere at the first levels, and those parts are neither read nor blurred.
/// The results are those of blurring the whole picture: black stays exactly black.
class Cascade {
public:
    Cascade(Bitmap& work, Bitmap& out, Flags<ImageOperatorsFlag> flags, ArrayView<const RowSpan> needed,
            const CascadeInput* input)
        : work(work), out(out), flags(flags), needed(needed), input(input),
          spans(std::size_t(work.height())) {}

    void run(const BlurLevels& levels, float scale, bool accumulate) {
        if (input) {
            spans = input->lit;
            // The first sweep reads the input as it goes, unless columns have to be blurred first.
            firstSweepReads = levels[0].radiusY <= 0;
            if (!firstSweepReads) {
                readInputIntoWork();
            }
        } else {
            findSpans();
        }
        const int bands = (work.height() + BAND_ROWS - 1) / BAND_ROWS;
        const Stack<LevelRange> sweeps = rowSweeps(levels);
        for (const LevelRange sweep : sweeps) {
            const BlurLevel& first = levels[std::size_t(sweep.begin)];
            if (first.radiusY > 0) {
                blurColumns(first.radiusY);
            }
            const SweepOutput output{sweep.begin == 0 && !accumulate, sweep.end < BLUR_LEVEL_COUNT};
            const std::int32_t width = work.width();
            forEachIndex<BandScratch>(
                flags, bands, 1, [width] { return BandScratch(width); },
                [&](int band, BandScratch& scratch) {
                    sweepBand(band * BAND_ROWS, levels, sweep, scale, output, scratch);
                });
        }
    }

private:
    void findSpans() {
        forEachIndex(flags, work.height(), ROW_GRAIN,
                     [&](int y) { spans[std::size_t(y)] = nonBlackSpan(work.row(y), work.width()); });
    }

    /// Works the levels of `sweep` on the rows from `top`: gathers them interleaved, blurs them,
    /// sums their light and puts both back, all only as far as the band's light reaches and
    /// its light is looked at.
    void sweepBand(std::int32_t top, const BlurLevels& levels, LevelRange sweep, float scale,
                   SweepOutput output, BandScratch& scratch) {
        const std::int32_t rows = std::min(BAND_ROWS, work.height() - top);
        RowSpan lit;
        RowSpan looked;
        for (std::int32_t k = 0; k < rows; ++k) {
            lit = lit.united(spans[std::size_t(top + k)]);
            looked = looked.united(needed.empty() ? RowSpan{0, work.width()} : needed[std::size_t(top + k)]);
        }
        const RowSpan reach = bandReach(lit, levels, sweep);
        const RowSpan shown = reach.intersected(looked);
        const bool fromInput = firstSweepReads && sweep.begin == 0;
        if (fromInput) {
            readBand(top, rows, reach, scratch.band.data());
        } else {
            gatherBand(top, rows, reach, scratch.band.data());
        }
        // The light of a sweep of one level goes from the band to `out` as it is scattered.
        const bool oneLevel = sweep.end - sweep.begin == 1;
        for (int i = sweep.begin; i < sweep.end && !reach.isEmpty(); ++i) {
            const BlurLevel& level = levels[std::size_t(i)];
            blurBandRows(top, reach, level.radiusX, scratch);
            if (!shown.isEmpty() && !oneLevel) {
                const std::size_t first = std::size_t(shown.begin) * BAND_ROWS;
                const std::size_t pixels = std::size_t(shown.end - shown.begin) * BAND_ROWS;
                LevelAdder(level, scale)
                    .apply(scratch.band.data() + first, scratch.light.data() + first, pixels,
                           i == sweep.begin);
            }
        }
        if (output.keepWork) {
            scatterWork(top, rows, reach, scratch);
            if (fromInput) {
                clearWorkOutside(top, rows, reach);
            }
        }
        if (oneLevel) {
            const LevelAdder adder(levels[std::size_t(sweep.begin)], scale);
            scatterLight(top, rows, looked, shown, scratch.band.data(), &adder.perPixel(), output.overwrite);
        } else {
            scatterLight(top, rows, looked, shown, scratch.light.data(), nullptr, output.overwrite);
        }
        for (std::int32_t k = 0; k < rows; ++k) {
            spans[std::size_t(top + k)] = reach;
        }
    }

    /// Where light of `lit` pixels may be after the row passes of `sweep`.
    RowSpan bandReach(RowSpan lit, const BlurLevels& levels, LevelRange sweep) const {
        if (lit.isEmpty() || flags.has(ImageOperatorsFlag::PANORAMA)) {
            return lit.isEmpty() ? lit : RowSpan{0, work.width()};
        }
        std::int32_t margin = 0;
        for (int i = sweep.begin; i < sweep.end; ++i) {
            margin += 2 * levels[std::size_t(i)].radiusX;
        }
        return lit.widened(margin, work.width());
    }

    /// Interleaves the pixels `reach` of `rows` rows from `top` into `band`, black where the
    /// band runs past the picture.
    void gatherBand(std::int32_t top, std::int32_t rows, RowSpan reach, Rgb* band) const {
        std::array<const Rgb*, BAND_ROWS> sources{};
        for (std::int32_t k = 0; k < rows; ++k) {
            sources[std::size_t(k)] = work.row(top + k);
        }
        forEachChunk(reach, [&](RowSpan chunk) { interleaveBand(sources, chunk, band); });
    }

    /// Puts the whole picture from `input` into `work`, band by band and a piece of each row at a
    /// time, as the sweeps would read it.
    void readInputIntoWork() {
        const int bands = (work.height() + BAND_ROWS - 1) / BAND_ROWS;
        forEachIndex(flags, bands, 1, [&](int band) {
            const std::int32_t top = band * BAND_ROWS;
            const std::int32_t rows = std::min(BAND_ROWS, work.height() - top);
            forEachChunk({0, work.width()}, [&](RowSpan chunk) {
                for (std::int32_t k = 0; k < rows; ++k) {
                    input->read(top + k, chunk, work.row(top + k), 1);
                }
            });
        });
    }

    /// `gatherBand` from `input`.
    void readBand(std::int32_t top, std::int32_t rows, RowSpan reach, Rgb* band) const {
        forEachChunk(reach, [&](RowSpan chunk) {
            for (std::int32_t k = 0; k < BAND_ROWS; ++k) {
                if (k < rows) {
                    input->read(top + k, chunk, band + k, BAND_ROWS);
                } else {
                    for (std::int32_t x = chunk.begin; x < chunk.end; ++x) {
                        Float4().store(&band[std::ptrdiff_t(x) * BAND_ROWS + k].r);
                    }
                }
            }
        });
    }

    /// Blacks out the pixels of `rows` rows of `work` from `top` outside `reach`, which the
    /// picture from `input` never put there.
    void clearWorkOutside(std::int32_t top, std::int32_t rows, RowSpan reach) {
        const Rgb black(0.f, 0.f, 0.f, 0.f);
        for (std::int32_t k = 0; k < rows; ++k) {
            Rgb* row = work.row(top + k);
            if (reach.isEmpty()) {
                std::fill(row, row + work.width(), black);
            } else {
                std::fill(row, row + reach.begin, black);
                std::fill(row + reach.end, row + work.width(), black);
            }
        }
    }

    /// Puts the pixels `reach` of the blurred band back into `work`.
    void scatterWork(std::int32_t top, std::int32_t rows, RowSpan reach, const BandScratch& scratch) {
        const std::array<Rgb*, BAND_ROWS> targets = bandRows(work, top, rows);
        forEachChunk(reach,
                     [&](RowSpan chunk) { deinterleaveBand(scratch.band.data(), chunk, targets, false); });
    }

    /// Adds the light within `shown` to `out`, or puts it there when `overwrite`, with black in the
    /// rest of `looked`: the interleaved `band` itself, or with `light` the light of its pixels.
    void scatterLight(std::int32_t top, std::int32_t rows, RowSpan looked, RowSpan shown, const Rgb* band,
                      const PixelLight* light, bool overwrite) {
        const Rgb black(0.f, 0.f, 0.f, 0.f);
        for (std::int32_t k = 0; k < rows && overwrite; ++k) {
            Rgb* row = out.row(top + k);
            if (shown.isEmpty()) {
                std::fill(row + looked.begin, row + std::max(looked.begin, looked.end), black);
            } else {
                std::fill(row + looked.begin, row + shown.begin, black);
                std::fill(row + shown.end, row + looked.end, black);
            }
        }
        const std::array<Rgb*, BAND_ROWS> targets = bandRows(out, top, rows);
        forEachChunk(shown, [&](RowSpan chunk) {
            if (light) {
                deinterleaveLight(band, chunk, targets, *light, !overwrite);
            } else {
                deinterleaveBand(band, chunk, targets, !overwrite);
            }
        });
    }

    /// The `rows` rows of `bitmap` from `top`, and null for the rest of a band.
    static std::array<Rgb*, BAND_ROWS> bandRows(Bitmap& bitmap, std::int32_t top, std::int32_t rows) {
        std::array<Rgb*, BAND_ROWS> result{};
        for (std::int32_t k = 0; k < rows; ++k) {
            result[std::size_t(k)] = bitmap.row(top + k);
        }
        return result;
    }

    /// Both row passes over the pixels `reach` of an interleaved band whose first row is row
    /// `top` of the picture.
    void blurBandRows(std::int32_t top, RowSpan reach, std::int32_t radius, BandScratch& scratch) const {
        if (radius <= 0) {
            return;
        }
        const std::int32_t width = work.width();
        Rgb* band = scratch.band.data();
        Rgb* between = scratch.between.data();
        if (flags.has(ImageOperatorsFlag::PANORAMA)) {
            for (std::int32_t k = 0; k < BAND_ROWS && top + k < work.height(); ++k) {
                const std::int32_t ringRadius = panoramaRadius(radius, top + k, work.size());
                boxFilterRing(band + k, between + k, BAND_ROWS, width, ringRadius);
                boxFilterRing(between + k, band + k, BAND_ROWS, width, ringRadius);
            }
            return;
        }
        // A band's pixels are vectors of one pixel of each of its rows, so its row passes are the
        // walks of a column pass along them, with `between` as the ring.
        withRegisterPixels([&](auto lanes) {
            constexpr int PIXELS = decltype(lanes)::value;
            constexpr int WALK = std::min(WALK_PIXELS<PIXELS>, BAND_ROWS);
            using Vector = PixelVector<PIXELS>;
            for (int k = 0; k < BAND_ROWS; k += WALK) {
                blurInPlace<Vector, WALK / PIXELS>(floats(band + std::ptrdiff_t(reach.begin) * BAND_ROWS + k),
                                                   BAND_ROWS * FLOATS_PER_PIXEL, reach.end - reach.begin,
                                                   radius, reinterpret_cast<Vector*>(between));
            }
        });
    }

    /// Both column passes, strip by strip: each step down a strip reads and writes whole stretches
    /// of rows, which the wide registers take in at once. A strip is only worked on the rows its
    /// light reaches.
    void blurColumns(std::int32_t radius) {
        const std::int32_t height = work.height();
        const int strips = (work.width() + STRIP_PIXELS - 1) / STRIP_PIXELS;
        const std::ptrdiff_t rowFloats = std::ptrdiff_t(work.width()) * FLOATS_PER_PIXEL;
        forEachIndex<StripScratch>(
            flags, strips, 1, [height] { return StripScratch(height); },
            [&](int strip, StripScratch& scratch) {
                const std::int32_t left = strip * STRIP_PIXELS;
                const RowSpan columns{left, std::min(left + STRIP_PIXELS, work.width())};
                const RowSpan rows = litRows(columns).widened(2 * radius, height);
                if (rows.isEmpty()) {
                    return;
                }
                float* top = floats(work.row(rows.begin) + left);
                blurStripColumns(top, rowFloats, rows.end - rows.begin, columns.end - columns.begin, radius,
                                 scratch.ring.data());
            });
        spreadSpansDown(2 * radius);
    }

    /// The first and last rows whose light touches `columns`.
    RowSpan litRows(RowSpan columns) const {
        RowSpan rows;
        for (std::int32_t y = 0; y < work.height(); ++y) {
            const RowSpan span = spans[std::size_t(y)];
            if (!span.isEmpty() && span.begin < columns.end && columns.begin < span.end) {
                rows = rows.united({y, y + 1});
            }
        }
        return rows;
    }

    /// After the column passes each row holds the light of the rows within `reach`.
    void spreadSpansDown(std::int32_t reach) {
        const Array<RowSpan> before = spans;
        const auto height = std::int32_t(spans.size());
        for (std::int32_t y = 0; y < height; ++y) {
            RowSpan span;
            for (std::int32_t j = std::max(0, y - reach); j < std::min(height, y + reach + 1); ++j) {
                span = span.united(before[std::size_t(j)]);
            }
            spans[std::size_t(y)] = span;
        }
    }

    Bitmap& work;
    Bitmap& out;
    Flags<ImageOperatorsFlag> flags;
    ArrayView<const RowSpan> needed;
    /// Where the first sweep takes the picture from, when it is not in `work`.
    const CascadeInput* input;
    /// Whether the first sweep reads `input` itself rather than `work`.
    bool firstSweepReads = false;
    /// For every row of `work`, where it may hold light.
    Array<RowSpan> spans;
};

} // namespace

RowSpan nonBlackSpan(const Rgb* row, std::int32_t width) {
    std::int32_t begin = 0;
    while (begin < width && isBlack(row[begin])) {
        ++begin;
    }
    std::int32_t end = width;
    while (end > begin && isBlack(row[end - 1])) {
        --end;
    }
    return {begin, end};
}

void runBlurCascade(Bitmap& work, const BlurLevels& levels, float scale, Bitmap& out, bool accumulate,
                    Flags<ImageOperatorsFlag> flags, ArrayView<const RowSpan> needed,
                    const CascadeInput* input) {
    VESPRA_ASSERT(needed.empty() || needed.size() == std::size_t(work.height()));
    VESPRA_ASSERT(!input || input->lit.size() == std::size_t(work.height()));
    Cascade(work, out, flags, needed, input).run(levels, scale, accumulate);
}

} // namespace Vespra
