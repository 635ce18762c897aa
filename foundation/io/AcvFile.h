#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "foundation/Containers.h"
#include "foundation/Optional.h"
#include "foundation/Vector2.h"
#include "foundation/io/AtomicFile.h"
#include "foundation/io/Path.h"

/// `.acv` curve files: 16-bit big-endian words. A version (4), a count of curves, then for each
/// curve the count of its points and, for each point, its output and its input, both times 255.
/// The curves are in the order master, red, green, blue; files may hold a fifth, whose points
/// are not read.
namespace Vespra::Io {

/// The node lists of the curves a file holds, at most four, in the order master, red, green,
/// blue. Each list is sorted by x and reaches x = 0 and x = 1.
using AcvCurves = Stack<Array<Vector2>>;

inline constexpr std::uint16_t ACV_VERSION = 4;
/// Curves read and written: master, red, green, blue.
inline constexpr std::size_t ACV_CURVES = 4;

/// Reads the curves of a file's bytes. A file that is not a curve file, or whose words end
/// before its curves do, answers a sentence that says what is wrong.
Expected<AcvCurves> parseAcv(std::span<const std::byte> bytes);

/// The bytes of a file holding the first four lists of `curves` (identity lines for missing
/// ones): coordinates times 255, truncated, within the range of a word.
std::vector<std::byte> formatAcv(ArrayView<const Array<Vector2>> curves);

/// Reads and parses the file; the error names the file.
Expected<AcvCurves> loadAcv(const Path& path);

/// Writes the file whole or not at all (see `writeFileAtomically`).
Expected<void, FileWriteError> saveAcv(const Path& path, ArrayView<const Array<Vector2>> curves);

} // namespace Vespra::Io
