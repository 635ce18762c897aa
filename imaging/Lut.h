#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/CacheStorage.h"
#include "foundation/CopyOnWrite.h"
#include "foundation/Flags.h"
#include "foundation/String.h"
#include "foundation/io/Path.h"
#include "imaging/LutTables.h"

namespace Vespra {

enum class LutFlag : std::uint32_t {
    /// The table is loaded and in use.
    ACTIVE = 1,
    /// The input is brought to a log scale before the tables.
    LOG_INPUT = 2,
    /// The tables were resampled to take square roots of linear values (see `Lut::prepare`).
    GAMMA_PREPARED = 4,
    /// Build the inverse tables at loading.
    WITH_INVERSE = 8,
    /// Build them with parallel loops.
    PARALLEL_INVERSE = 16,
};
VESPRA_FLAGS_OPERATORS(LutFlag)

/// Gamma preparation with both inverses, built in parallel: what the colour mapping asks for.
inline constexpr Flags<LutFlag> DEFAULT_LUT_FLAGS =
    Flags<LutFlag>(LutFlag::GAMMA_PREPARED) | LutFlag::WITH_INVERSE | LutFlag::PARALLEL_INVERSE;

/// The flags with which the colour mapping loads a table: the defaults, switched on or off, for
/// an input in log space or not.
inline Flags<LutFlag> colorMappingLutFlags(bool active, bool logInput) {
    Flags<LutFlag> flags = DEFAULT_LUT_FLAGS;
    flags.set(LutFlag::ACTIVE, active);
    flags.set(LutFlag::LOG_INPUT, logInput);
    return flags;
}

/// How the block form of `Lut::apply` takes the square roots of gamma-prepared tables.
enum class LutRoots {
    /// The processor's estimates, refined as the one-colour form does: the same bits.
    AS_ONE_COLOUR,
    /// Correctly rounded roots, within about 3e-7 relative of the others and several times
    /// cheaper: for the display.
    ROUNDED,
};

/// Result of `Lut::load`; the numbers are part of the design.
enum class LutResult : int {
    /// Loaded, or nothing to load.
    OK = 0,
    CANNOT_OPEN = 1,
    UNSUPPORTED_FORMAT = 2,
    NONSTANDARD_FORMAT = 3,
    READ_ERROR = 4,
    TOO_LARGE_FOR_INVERSE = 6,
};

/// A colour look-up table from a `.cube` or `.3dl` file: an optional 1-D table applied
/// first, an optional colour cube after it, their inverses, and how they are applied.
/// Immutable after loading; evaluation takes no lock and allocates nothing. Copies share the
/// tables, so that a copy from the cache costs next to nothing.
class Lut {
public:
    CopyOnWrite<Lut1D> lut1D;
    CopyOnWrite<Lut3D> lut3D;
    CopyOnWrite<InverseLut1D> inverse1D;
    CopyOnWrite<InverseLut3D> inverse3D;
    String title;
    String path;
    /// Mix of the table's result with its input.
    float opacity = 1.f;
    /// Gamma for which the tables were prepared.
    float gamma = 2.2f;
    Flags<LutFlag> flags = DEFAULT_LUT_FLAGS;

    /// The largest colour cube whose inverse is built is one below this many entries a side.
    static constexpr int INVERSE_SIZE_LIMIT = 851;

    /// Loads `path` unless `flags` lacks `ACTIVE` or the path is empty, from the cache of the
    /// process when the same file was loaded before. On failure the table is inactive (the
    /// identity), and failures are not cached, so the next load tries the file again. The
    /// cache holds neither gamma nor flags: the first load of a file decides its tables.
    LutResult load(const Io::Path& path, float opacity, Flags<LutFlag> flags, float gamma);

    /// Resamples the tables for gamma and builds the inverses, as `flags` ask; part of
    /// loading. Refuses a colour cube of `INVERSE_SIZE_LIMIT` or more entries a side when
    /// inverses are wanted.
    LutResult prepare();

    bool isActive() const { return flags.has(LutFlag::ACTIVE); }
    /// Whether a table with entries is loaded.
    bool hasEntries() const;
    /// The number of entries of all four tables.
    std::size_t entryCount() const;

    /// Forward application, keeping alpha.
    Rgb operator()(const Rgb& input) const;
    /// Forward application; the identity when inactive. The fourth lane is not kept.
    Float4 apply(Float4 input) const;
    /// Forward application to every colour of `colors`, vectorised at the width of the
    /// running clone: with the results of the one-colour form unless `roots` says otherwise.
    void apply(ColorBlock& colors, LutRoots roots = LutRoots::AS_ONE_COLOUR) const;
    /// Backward application through the inverse tables; the identity without them.
    Rgb inverse(const Rgb& input) const;

    /// The cache of loaded tables, shared by the whole process and keyed by file id.
    static CacheStorage& cache();

private:
    LutResult read(const Io::Path& path, float opacity, Flags<LutFlag> flags, float gamma);
    void prepareForGamma();
};

} // namespace Vespra
