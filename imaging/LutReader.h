#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/Containers.h"
#include "foundation/io/Streams.h"
#include "imaging/Lut.h"

/// The parsers of look-up table files, for `Lut`.
namespace Vespra::Detail {

/// How a line matched a pattern; the numbers are part of the design.
enum class PatternMatch : int {
    /// Pattern and line were both used up.
    FULL = 0,
    /// A directive found no number.
    NO_NUMBER = 1,
    /// A literal character differs.
    MISMATCH = 2,
    /// The pattern was used up and the line was not.
    LINE_LEFT = 3,
    /// The line was used up first.
    LINE_SHORT = 4,
};

/// What the directives of a pattern read, in order.
struct PatternValues {
    StaticArray<std::int64_t, 4> ints{};
    int intCount = 0;
    StaticArray<float, 6> floats{};
    int floatCount = 0;
    /// What %s read.
    std::string_view text;
};

/// Matches `line` against `pattern`: literal characters, and the directives %d (integer),
/// %f (float), %r (three floats) and %s (the rest of the line, without surrounding double
/// quotes). Each directive first skips spaces.
PatternMatch matchPattern(std::string_view pattern, std::string_view line, PatternValues& values);

/// Hands out the lines of a table file, without comment lines, empty lines and trailing
/// blanks. A carriage return or a line feed ends a line.
class LutLineReader {
public:
    enum class Status { LINE, END, TOO_LONG, READ_ERROR };

    /// Lines of this many bytes or more are refused.
    static constexpr std::size_t MAX_LINE_BYTES = 1024;

    explicit LutLineReader(Io::BinaryInputStream& stream) : stream(stream) {}

    /// On `LINE`, `line` views the line until the next call.
    Status next(std::string_view& line);

private:
    Status readRaw();

    Io::BinaryInputStream& stream;
    StaticArray<char, 65536> buffer;
    std::size_t position = 0;
    std::size_t filled = 0;
    std::string current;
};

/// Parse a whole file into the tables and title of `lut`.
LutResult readCube(Io::BinaryInputStream& file, Lut& lut);
LutResult read3dl(Io::BinaryInputStream& file, Lut& lut);

} // namespace Vespra::Detail
