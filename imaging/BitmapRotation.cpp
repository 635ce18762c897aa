#include "imaging/BitmapRotation.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <tuple>
#include <utility>

#include "foundation/Float4.h"

namespace Vespra {

namespace {

/// A rotation works the target in tiles of this many rows by this many pixels.
constexpr std::int32_t TILE_ROWS = 32;
constexpr std::int32_t TILE_PIXELS = 64;
/// Target pixels between two source positions asked for ahead of time: about one cache line of
/// the source apart.
constexpr std::int32_t PREFETCH_STEP = 4;
/// How far, in pixels, positions sampled without border tests stay inside the source.
constexpr double INSIDE_MARGIN = 0.01;
/// Keeps sides that a rotation by a multiple of 90 degrees lays on the axes from growing by a
/// pixel through the rounding of the sine and cosine.
constexpr double SIZE_TOLERANCE = 1e-4;

struct SineCosine {
    double sine;
    double cosine;
};

SineCosine sineCosine(float degrees) {
    const double radians = double(degrees) * std::numbers::pi / 180.0;
    return {std::sin(radians), std::cos(radians)};
}

Float4 pixelAt(const BitmapImpl<Rgb>& source, std::int32_t x, std::int32_t y) {
    if (x < 0 || y < 0 || x >= source.width() || y >= source.height()) {
        return Float4();
    }
    return Float4(source(x, y));
}

/// The bilinear blend of an upper left, upper right, lower left and lower right pixel.
Float4 bilinear(Float4 a, Float4 b, Float4 c, Float4 d, Float4 tx, Float4 ty) {
    const Float4 upper = a + tx * (b - a);
    const Float4 lower = c + tx * (d - c);
    return upper + ty * (lower - upper);
}

/// The bilinear blend of the four pixels whose upper left one is at `row`, with `next` the row
/// below.
Float4 blend(const Rgb* row, const Rgb* next, Float4 tx, Float4 ty) {
    return bilinear(Float4(row[0]), Float4(row[1]), Float4(next[0]), Float4(next[1]), tx, ty);
}

/// The bilinear sample of `source` at (x, y) in pixel-centre units: (0, 0) is the centre of the
/// first pixel.
Float4 sample(const BitmapImpl<Rgb>& source, float x, float y) {
    const float left = std::floor(x);
    const float top = std::floor(y);
    const auto ix = std::int32_t(left);
    const auto iy = std::int32_t(top);
    if (ix < -1 || iy < -1 || ix >= source.width() || iy >= source.height()) {
        return Float4();
    }
    const Float4 tx(x - left);
    const Float4 ty(y - top);
    if (ix >= 0 && iy >= 0 && ix + 1 < source.width() && iy + 1 < source.height()) {
        return blend(source.row(iy) + ix, source.row(iy + 1) + ix, tx, ty);
    }
    return bilinear(pixelAt(source, ix, iy), pixelAt(source, ix + 1, iy), pixelAt(source, ix, iy + 1),
                    pixelAt(source, ix + 1, iy + 1), tx, ty);
}

/// `sample` where all four pixels are known to lie in `source`.
Float4 sampleInside(const BitmapImpl<Rgb>& source, float x, float y) {
    const float left = std::floor(x);
    const float top = std::floor(y);
    const auto ix = std::int32_t(left);
    const auto iy = std::int32_t(top);
    return blend(source.row(iy) + ix, source.row(iy + 1) + ix, Float4(x - left), Float4(y - top));
}

/// The source positions of one target row: (x0, y0) + x * (stepX, stepY) for pixel x.
struct Line {
    double x0;
    double y0;
    double stepX;
    double stepY;

    float xAt(std::int32_t x) const { return float(x0 + stepX * x); }
    float yAt(std::int32_t x) const { return float(y0 + stepY * x); }

    /// The pixels [first, last) of a row of `width` whose samples may touch a source of
    /// `size`; the others are black.
    std::pair<std::int32_t, std::int32_t> span(Pixel size, std::int32_t width) const {
        return span({0, size.x}, {0, size.y}, width);
    }

    /// The pixels [first, last) of a row of `width` whose samples may touch the source pixels in
    /// `columns` of `rows`.
    std::pair<std::int32_t, std::int32_t> span(RowSpan columns, RowSpan rows, std::int32_t width) const {
        double low = 0.0;
        double high = double(width);
        narrow(x0, stepX, double(columns.begin) - 1.0, double(columns.end), low, high);
        narrow(y0, stepY, double(rows.begin) - 1.0, double(rows.end), low, high);
        const auto first = std::int32_t(std::clamp(std::floor(low) - 1.0, 0.0, double(width)));
        const auto last = std::int32_t(std::clamp(std::ceil(high) + 1.0, double(first), double(width)));
        return {first, last};
    }

    /// The pixels [first, last), within `outer`, whose four samples all lie in a source of `size`:
    /// their positions fall in [0, size - 1) with a pixel to spare for rounding.
    std::pair<std::int32_t, std::int32_t> inside(Pixel size,
                                                 std::pair<std::int32_t, std::int32_t> outer) const {
        double low = outer.first;
        double high = outer.second;
        // Positions are worked out in double and used in float, which may round one up onto the
        // last pixel; the margin keeps such positions out, also along an axis the row runs
        // parallel to.
        narrow(x0, stepX, INSIDE_MARGIN, double(size.x - 1) - INSIDE_MARGIN, low, high);
        narrow(y0, stepY, INSIDE_MARGIN, double(size.y - 1) - INSIDE_MARGIN, low, high);
        const auto first =
            std::int32_t(std::clamp(std::ceil(low) + 1.0, double(outer.first), double(outer.second)));
        const auto last =
            std::int32_t(std::clamp(std::floor(high) - 1.0, double(first), double(outer.second)));
        return {first, last};
    }

private:
    /// Narrows [low, high) to where start + step * x lies within (lower, upper).
    static void narrow(double start, double step, double lower, double upper, double& low, double& high) {
        if (std::abs(step) < 1e-12) {
            if (start <= lower || start >= upper) {
                high = low;
            }
            return;
        }
        const double a = (lower - start) / step;
        const double b = (upper - start) / step;
        low = std::max(low, std::min(a, b));
        high = std::min(high, std::max(a, b));
    }
};

/// The source positions of the rows of a target of `targetSize` when a source of `sourceSize`
/// is rotated by `degrees` about the centres of both.
class RotationLines {
public:
    RotationLines(Pixel sourceSize, float degrees, Pixel targetSize) {
        const auto [s, c] = sineCosine(degrees);
        sine = s;
        cosine = c;
        sourceCentreX = 0.5 * sourceSize.x - 0.5;
        sourceCentreY = 0.5 * sourceSize.y - 0.5;
        targetCentreX = 0.5 * targetSize.x - 0.5;
        targetCentreY = 0.5 * targetSize.y - 0.5;
    }

    /// The inverse rotation takes each target pixel to where it comes from in the source:
    /// along a row the source position moves by (cosine, -sine) per pixel.
    Line row(std::int32_t y) const {
        const double dy = double(y) - targetCentreY;
        return {sine * dy + sourceCentreX - cosine * targetCentreX,
                cosine * dy + sourceCentreY + sine * targetCentreX, cosine, -sine};
    }

private:
    double sine;
    double cosine;
    double sourceCentreX;
    double sourceCentreY;
    double targetCentreX;
    double targetCentreY;
};

/// The samples of one target row: black outside [first, last), and without border tests in
/// [firstInside, lastInside).
class RowSamples {
public:
    RowSamples() = default;

    RowSamples(const Line& line, Pixel sourceSize, std::int32_t width) : line(line) {
        std::tie(first, last) = line.span(sourceSize, width);
        std::tie(firstInside, lastInside) = line.inside(sourceSize, {first, last});
        lastInside = std::max(firstInside, lastInside);
    }

    const Line& positions() const { return line; }

    /// Writes, or with `add` adds, the samples of `pixels` to out[x * step].
    void put(const BitmapImpl<Rgb>& source, RowSpan pixels, Rgb* out, std::ptrdiff_t step, bool add) const {
        const auto at = [&](std::int32_t x) { return out + std::ptrdiff_t(x) * step; };
        const auto store = [&](std::int32_t x, Float4 value) {
            (add ? value + Float4(*at(x)) : value).store(&at(x)->r);
        };
        const std::int32_t begin = std::clamp(first, pixels.begin, pixels.end);
        const std::int32_t end = std::clamp(last, begin, pixels.end);
        if (!add) {
            for (std::int32_t x = pixels.begin; x < begin; ++x) {
                store(x, Float4());
            }
            for (std::int32_t x = end; x < pixels.end; ++x) {
                store(x, Float4());
            }
        }
        prefetchAfter(source, pixels);
        const std::int32_t insideBegin = std::clamp(firstInside, begin, end);
        const std::int32_t insideEnd = std::clamp(lastInside, insideBegin, end);
        for (std::int32_t x = begin; x < insideBegin; ++x) {
            store(x, sample(source, line.xAt(x), line.yAt(x)));
        }
        for (std::int32_t x = insideBegin; x < insideEnd; ++x) {
            store(x, sampleInside(source, line.xAt(x), line.yAt(x)));
        }
        for (std::int32_t x = insideEnd; x < end; ++x) {
            store(x, sample(source, line.xAt(x), line.yAt(x)));
        }
    }

private:
    /// Asks for the source pixels of the piece of the row after `pixels`, of the same length,
    /// ahead of time. The samples of a piece lie on a short slanted line through the source,
    /// a few pixels on each of many source rows, which the processor does not see coming; the
    /// caller takes the pieces of a row in order. Inlined, as the compiler takes a function that
    /// only prefetches for one without effects and drops its calls.
    [[gnu::always_inline]] void prefetchAfter(const BitmapImpl<Rgb>& source, RowSpan pixels) const {
        const std::int32_t begin = std::max(pixels.end, firstInside);
        const std::int32_t end = std::min(pixels.end + (pixels.end - pixels.begin), lastInside);
        for (std::int32_t x = begin; x < end; x += PREFETCH_STEP) {
            const auto ix = std::int32_t(line.xAt(x));
            const auto iy = std::int32_t(line.yAt(x));
            __builtin_prefetch(source.row(iy) + ix);
            __builtin_prefetch(source.row(iy + 1) + ix);
        }
    }

    Line line{};
    std::int32_t first = 0;
    std::int32_t last = 0;
    std::int32_t firstInside = 0;
    std::int32_t lastInside = 0;
};

} // namespace

Pixel rotatedSize(Pixel size, float degrees) {
    const auto [sine, cosine] = sineCosine(degrees);
    const auto side = [&](double along, double across) {
        return std::int32_t(std::ceil(std::abs(along * cosine) + std::abs(across * sine) - SIZE_TOLERANCE));
    };
    return {side(size.x, size.y), side(size.y, size.x)};
}

struct RotatedPicture::Rows {
    Array<RowSamples> samples;
};

RotatedPicture::RotatedPicture(const BitmapImpl<Rgb>& source, float degrees, Pixel targetSize)
    : source(source), targetSize(targetSize), rows(makeAuto<Rows>()) {
    const RotationLines lines(source.size(), degrees, targetSize);
    rows->samples.resize(std::size_t(targetSize.y));
    for (std::int32_t y = 0; y < targetSize.y; ++y) {
        rows->samples[std::size_t(y)] = RowSamples(lines.row(y), source.size(), targetSize.x);
    }
}

RotatedPicture::~RotatedPicture() = default;

RowSpan RotatedPicture::reach(std::int32_t y, RowSpan columns, RowSpan lines) const {
    if (columns.isEmpty() || lines.isEmpty()) {
        return {};
    }
    const auto [first, last] = rows->samples[std::size_t(y)].positions().span(columns, lines, targetSize.x);
    return {first, last};
}

void RotatedPicture::sample(std::int32_t y, RowSpan pixels, Rgb* out, std::ptrdiff_t step, bool add) const {
    rows->samples[std::size_t(y)].put(source, pixels, out, step, add);
}

void rotateBitmap(const BitmapImpl<Rgb>& source, float degrees, BitmapImpl<Rgb>& target, bool add,
                  Flags<ImageOperatorsFlag> flags) {
    const RotatedPicture picture(source, degrees, target.size());
    const int bands = (target.height() + TILE_ROWS - 1) / TILE_ROWS;
    forEachIndex(flags, bands, 1, [&](int band) {
        const std::int32_t top = band * TILE_ROWS;
        const std::int32_t rows = std::min(TILE_ROWS, target.height() - top);
        // Along a target row the samples run slantwise through the source, a new source row every
        // pixel or so at steep angles. Short pieces of the band's rows, one below the other, read
        // one small patch of the source instead, which stays in the caches and the address
        // translation buffers.
        for (std::int32_t left = 0; left < target.width(); left += TILE_PIXELS) {
            const RowSpan piece{left, std::min(left + TILE_PIXELS, target.width())};
            for (std::int32_t k = 0; k < rows; ++k) {
                picture.sample(top + k, piece, target.row(top + k), 1, add);
            }
        }
    });
}

Array<RowSpan> readWhenRotated(Pixel sourceSize, float degrees, Pixel targetSize) {
    // The pixels of the source that the target's samples fall between are where the inverse
    // rotation puts the target's own pixels; the bilinear samples reach one pixel further.
    const RotationLines lines(targetSize, -degrees, sourceSize);
    Array<RowSpan> footprint(std::size_t(sourceSize.y));
    for (std::int32_t y = 0; y < sourceSize.y; ++y) {
        const auto [first, last] = lines.row(y).span(targetSize, sourceSize.x);
        footprint[std::size_t(y)] = {first, last};
    }
    Array<RowSpan> read(footprint.size());
    for (std::int32_t y = 0; y < sourceSize.y; ++y) {
        RowSpan span;
        for (std::int32_t j = std::max(0, y - 1); j <= std::min(sourceSize.y - 1, y + 1); ++j) {
            span = span.united(footprint[std::size_t(j)]);
        }
        read[std::size_t(y)] = span.widened(1, sourceSize.x);
    }
    return read;
}

} // namespace Vespra
