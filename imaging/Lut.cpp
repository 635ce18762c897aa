#include "imaging/Lut.h"

#include "foundation/DebugLog.h"
#include "foundation/FastMath.h"
#include "foundation/LaneMath.h"
#include "foundation/Optional.h"
#include "foundation/VectorClones.h"
#include "foundation/io/Files.h"
#include "foundation/io/Streams.h"
#include "imaging/ExactPow.h"
#include "imaging/LutReader.h"

namespace Vespra {

namespace {

/// The log scale of tables made for log cameras: log(x * (HIGH - LOW) + LOW) / DIVISOR.
constexpr float LOG_LOW = 2.0733216f;
constexpr float LOG_HIGH = 192.01418f;
constexpr float LOG_DIVISOR = 7.85f;

constexpr std::size_t CACHE_CAPACITY_BYTES = 52428800;

/// The cache counts each entry of each table as one pixel of four floats.
constexpr std::size_t BYTES_PER_ENTRY = 16;

float gridValue(int index, int size) {
    return float(index) / float(size - 1);
}

Rgb withoutFourthLane(Float4 value) {
    Rgb result = value.toRgb();
    result.a = 0.f;
    return result;
}

} // namespace

CacheStorage& Lut::cache() {
    static CacheStorage storage(CACHE_CAPACITY_BYTES);
    return storage;
}

bool Lut::hasEntries() const {
    return (lut1D && lut1D->size > 0) || (lut3D && lut3D->size > 0);
}

std::size_t Lut::entryCount() const {
    const auto count = [](const auto& table) { return table ? table->table.size() : 0; };
    return count(lut1D) + count(lut3D) + count(inverse1D) + count(inverse3D);
}

LutResult Lut::load(const Io::Path& file, float newOpacity, Flags<LutFlag> newFlags, float newGamma) {
    flags.unset(LutFlag::ACTIVE);
    if (file.isEmpty() || !newFlags.has(LutFlag::ACTIVE)) {
        return LutResult::OK;
    }
    const Optional<std::uint64_t> id = Io::fileId(file);
    if (id) {
        if (Optional<Lut> cached = cache().find<Lut>(*id)) {
            *this = std::move(*cached);
            opacity = newOpacity;
            flags = newFlags;
            flags.set(LutFlag::ACTIVE, hasEntries());
            Detail::debugPrintImpl(u"Loaded " + file.fileName() + u" from cache");
            return LutResult::OK;
        }
    }
    if (file.fileName().isEmpty()) {
        return LutResult::OK;
    }
    const LutResult result = read(file, newOpacity, newFlags, newGamma);
    if (result != LutResult::OK) {
        flags.unset(LutFlag::ACTIVE);
        return result;
    }
    if (id) {
        cache().insertAny(*id, *this, entryCount() * BYTES_PER_ENTRY);
    }
    return LutResult::OK;
}

LutResult Lut::read(const Io::Path& file, float newOpacity, Flags<LutFlag> newFlags, float newGamma) {
    *this = Lut();
    opacity = newOpacity;
    path = file.nativeStr();
    flags = newFlags;
    gamma = newGamma;
    const String extension = file.extension().toLowerCase();
    Io::FileInputStream stream(file);
    if (!stream.isOpen()) {
        return LutResult::CANNOT_OPEN;
    }
    LutResult result;
    if (extension == u"cube") {
        const Detail::FunctionElapsedTime timer(u"LUT - parsing CUBE file");
        result = Detail::readCube(stream, *this);
    } else if (extension == u"3dl") {
        const Detail::FunctionElapsedTime timer(u"LUT - parsing 3DL file");
        result = Detail::read3dl(stream, *this);
    } else {
        return LutResult::UNSUPPORTED_FORMAT;
    }
    return result == LutResult::OK ? prepare() : result;
}

LutResult Lut::prepare() {
    if (flags.has(LutFlag::GAMMA_PREPARED)) {
        const Detail::FunctionElapsedTime timer(u"LUT - applying gamma");
        prepareForGamma();
    }
    if (flags.has(LutFlag::WITH_INVERSE)) {
        if (lut3D && lut3D->size >= INVERSE_SIZE_LIMIT) {
            return LutResult::TOO_LARGE_FOR_INVERSE;
        }
        const Detail::FunctionElapsedTime timer(u"LUT - building inverse");
        const bool parallel = flags.has(LutFlag::PARALLEL_INVERSE);
        if (lut3D) {
            inverse3D.emplace(*lut3D, parallel);
        }
        if (lut1D) {
            inverse1D.emplace(*lut1D, parallel);
        }
    }
    return LutResult::OK;
}

// The prepared tables are applied to square roots of linear values and their output is
// squared (see apply), so they are resampled at the grid points to the power 2 / gamma and
// raised to gamma / 2. With both tables the 1-D one takes the input side and the cube the
// output side.
void Lut::prepareForGamma() {
    const float halfGamma = gamma / 2.f;
    const Float4 toInput(1.f / halfGamma);
    const Float4 toOutput(halfGamma);
    if (lut1D) {
        const Lut1D old = *lut1D;
        Array<Rgb>& entries = lut1D.edit().table;
        for (int i = 0; i < old.size; ++i) {
            const Float4 mapped = old.evaluate(powExact(Float4(gridValue(i, old.size)), toInput));
            entries[std::size_t(i)] = withoutFourthLane(lut3D ? mapped : powExact(mapped, toOutput));
        }
    }
    if (lut3D) {
        const Lut3D old = *lut3D;
        Array<Rgb>& entries = lut3D.edit().table;
        const int n = old.size;
        for (int b = 0; b < n; ++b) {
            for (int g = 0; g < n; ++g) {
                for (int r = 0; r < n; ++r) {
                    const Float4 grid(gridValue(r, n), gridValue(g, n), gridValue(b, n), 0.f);
                    const Float4 mapped = old.evaluate(lut1D ? grid : powExact(grid, toInput));
                    entries[old.index(r, g, b)] = withoutFourthLane(powExact(mapped, toOutput));
                }
            }
        }
    }
}

Float4 Lut::apply(Float4 input) const {
    if (!isActive()) {
        return input;
    }
    Float4 x = max(input, Float4(0.f));
    if (flags.has(LutFlag::LOG_INPUT)) {
        x = log(x * Float4(LOG_HIGH - LOG_LOW) + Float4(LOG_LOW)) / Float4(LOG_DIVISOR);
    }
    const bool prepared = flags.has(LutFlag::GAMMA_PREPARED);
    if (prepared) {
        x = fastReciprocal(fastRsqrt(x));
    }
    if (lut1D) {
        x = lut1D->evaluate(x);
    }
    if (lut3D) {
        x = lut3D->evaluate(x);
    }
    if (prepared) {
        x = x * x;
    }
    return Float4(1.f - opacity) * input + Float4(opacity) * x;
}

// The steps of the one-colour form, each over the whole block. Square roots take four lanes at
// a time: the processor's estimates give the same bits in every clone only in that form, and
// the compiler leaves loops of correctly rounded roots unvectorised while they may set errno.
VESPRA_VECTOR_CLONES [[gnu::flatten]] void Lut::apply(ColorBlock& colors, LutRoots roots) const {
    if (!isActive()) {
        return;
    }
    const ColorBlock input = colors;
    colors.map([](float c) { return Detail::laneMax(c, 0.f); });
    if (flags.has(LutFlag::LOG_INPUT)) {
        colors.map([](float c) { return Detail::laneLog(c * (LOG_HIGH - LOG_LOW) + LOG_LOW) / LOG_DIVISOR; });
    }
    const bool prepared = flags.has(LutFlag::GAMMA_PREPARED);
    if (prepared && roots == LutRoots::ROUNDED) {
        colors.mapQuads([](Float4 c) { return sqrt(c); });
    } else if (prepared) {
        colors.mapQuads([](Float4 c) { return fastReciprocal(fastRsqrt(c)); });
    }
    if (lut1D) {
        lut1D->evaluate(colors);
    }
    if (lut3D) {
        lut3D->evaluate(colors);
    }
    if (prepared) {
        colors.map([](float c) { return c * c; });
    }
    const float keep = 1.f - opacity;
    const float take = opacity;
    const auto blend = [keep, take](float* mapped, const float* original) {
        for (int i = 0; i < ColorBlock::SIZE; ++i) {
            mapped[i] = keep * original[i] + take * mapped[i];
        }
    };
    blend(colors.r, input.r);
    blend(colors.g, input.g);
    blend(colors.b, input.b);
}

Rgb Lut::operator()(const Rgb& input) const {
    Rgb result = apply(Float4(input)).toRgb();
    result.a = input.a;
    return result;
}

Rgb Lut::inverse(const Rgb& input) const {
    if (!flags.has(LutFlag::WITH_INVERSE)) {
        return input;
    }
    Float4 v(input);
    if (lut3D && inverse3D) {
        v = inverse3D->evaluate(v);
    }
    if (lut1D && inverse1D) {
        v = inverse1D->evaluate(v);
    }
    if (flags.has(LutFlag::LOG_INPUT)) {
        v = (exp(Float4(LOG_DIVISOR) * v) - Float4(LOG_LOW)) / Float4(LOG_HIGH - LOG_LOW);
    }
    Rgb result = (Float4(opacity) * v + Float4(1.f - opacity) * Float4(input)).toRgb();
    result.a = input.a;
    return result;
}

} // namespace Vespra
